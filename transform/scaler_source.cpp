#include "transform/scaler_source.h"

#include <algorithm>

namespace {

// More than libswscale was ever seen to read past a row.
constexpr int kReadAhead = 64;
// libswscale reduces a picture in two steps from about 40 on, and then wants all of it at once. Chroma may have to go
// twice as far as the picture.
constexpr int kMostReducedInOneStep = 16;

int ChromaShift(AVPixelFormat format, int plane) {
    return plane == 0 ? 0 : av_pix_fmt_desc_get(format)->log2_chroma_h;
}

// Rows of the picture that together hold the bytes that may be read past any row before them.
int TailRows(AVPixelFormat format, const int linesizes[4]) {
    int rows = 2;
    for (int plane = 0; plane < 4 && linesizes[plane] > 0; ++plane) {
        const int planeRows = (kReadAhead + linesizes[plane] - 1) / linesizes[plane];
        rows = std::max(rows, planeRows << ChromaShift(format, plane));
    }
    return FFALIGN(rows, 2);
}

// An odd width has a chroma sample that is made of a column which is not there.
bool MayReadRowsInPlace(const PictureShape& from) {
    return from.width % 2 == 0 && ScalerSource::MayWriteRowsInPlace(from);
}

bool MayComeInSlices(const PictureShape& from, const PictureShape& to) {
    return from.width / kMostReducedInOneStep < to.width && from.height / kMostReducedInOneStep < to.height;
}

// This conversion goes another way in the last two rows of whatever it is given, and so never reads past the end.
bool TakesCareOfItsLastRows(const PictureShape& from, const PictureShape& to) {
    return from.format == AV_PIX_FMT_BGR24 && to.format == AV_PIX_FMT_YUV420P && from.width == to.width &&
           from.height == to.height;
}

int DirectRows(const PictureShape& from, const PictureShape& to, const int linesizes[4]) {
    if (!MayReadRowsInPlace(from) || !MayComeInSlices(from, to)) {
        return 0;
    }
    if (TakesCareOfItsLastRows(from, to)) {
        return from.height;
    }
    // An even count: a slice ends with a whole row of chroma.
    return std::max(0, (from.height - TailRows(from.format, linesizes)) & ~1);
}

}  // namespace

// NV12's chroma is taken apart by stores that want rows of whole registers.
bool ScalerSource::MayWriteRowsInPlace(const PictureShape& from) {
    return from.format != AV_PIX_FMT_NV12 || from.width % 32 == 0;
}

ScalerSource::ScalerSource(const PictureShape& from, const PictureShape& to, const int linesizes[4])
    : m_Shape(from), m_nDirectRows(DirectRows(from, to, linesizes)) {
    std::copy_n(linesizes, 4, m_Linesizes);
    if (m_nDirectRows < m_Shape.height) {
        m_Tail.emplace(m_Shape.format, m_Shape.width, m_Shape.height - m_nDirectRows);
    }
}

int ScalerSource::Scale(SwsContext* scaler, uint8_t* const src[4], uint8_t* const dst[4], const int dstLinesizes[4]) {
    if (m_nDirectRows > 0) {
        const int result = sws_scale(scaler, src, m_Linesizes, 0, m_nDirectRows, dst, dstLinesizes);
        if (result < 0 || !m_Tail) {
            return result;
        }
    }
    const uint8_t* tail[4] = {};
    for (int plane = 0; plane < 4 && src[plane] != nullptr; ++plane) {
        tail[plane] = src[plane] + static_cast<std::ptrdiff_t>(m_nDirectRows >> ChromaShift(m_Shape.format, plane)) *
                                       m_Linesizes[plane];
    }
    m_Tail->CopyFrom(tail, m_Linesizes);
    return sws_scale(scaler, m_Tail->Planes(), m_Tail->Linesizes(), m_nDirectRows, m_Shape.height - m_nDirectRows, dst,
                     dstLinesizes);
}
