#include "transform/tight_scaling.h"

#include <algorithm>

namespace {

// libswscale was never seen to read more than 30 bytes past a row.
constexpr int kReadAhead = 64;
// From a reduction by 22 on, libswscale may go in two steps, and then wants all of the picture at once.
constexpr int kMostReducedInOneStep = 16;
// Planes are written in registers of up to 16 bytes of chroma. On rows of that length it all falls on rows that are
// still to be written.
constexpr int kLeastWidthInPlace = 16;

bool IsRgb(AVPixelFormat format) {
    return (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

int ChromaShift(AVPixelFormat format, int plane) {
    return plane == 0 ? 0 : av_pix_fmt_desc_get(format)->log2_chroma_h;
}

bool IsConversion(const PictureShape& from, AVPixelFormat fromFormat, const PictureShape& to) {
    return from.format == fromFormat && from.width == to.width && from.height == to.height;
}

// Rows of the picture that together hold the bytes that may be read past any row before them.
int LastRows(AVPixelFormat format, const int linesizes[4]) {
    int rows = 2;
    for (int plane = 0; plane < 4 && linesizes[plane] > 0; ++plane) {
        const int planeRows = (kReadAhead + linesizes[plane] - 1) / linesizes[plane];
        rows = std::max(rows, planeRows << ChromaShift(format, plane));
    }
    return FFALIGN(rows, 2);
}

bool MayComeInSlices(const PictureShape& from, const PictureShape& to) {
    return from.width / kMostReducedInOneStep < to.width && from.height / kMostReducedInOneStep < to.height;
}

int DirectRows(const PictureShape& from, const int linesizes[4], const PictureShape& to) {
    // An odd width has a chroma sample that is made of a column which is not there.
    if (from.width % 2 != 0 || !MayComeInSlices(from, to)) {
        return 0;
    }
    // This one goes another way in the last two rows of whatever it is given: it never reads past the end, and a second
    // slice would show.
    if (IsConversion(from, AV_PIX_FMT_BGR24, to) && to.format == AV_PIX_FMT_YUV420P) {
        return from.height;
    }
    // An even count: a slice ends with a whole row of chroma.
    return std::max(0, (from.height - LastRows(from.format, linesizes)) & ~1);
}

/// What the width of tight rows must be a multiple of, for them to be written in place.
int WidthMultiple(const PictureShape& from, const PictureShape& to) {
    if (IsConversion(from, AV_PIX_FMT_NV12, to) && to.format == AV_PIX_FMT_YUV420P) {
        return 32;  // chroma is taken apart by stores to aligned addresses
    }
    if (IsConversion(from, AV_PIX_FMT_YUV420P, to) && IsRgb(to.format)) {
        return 16;  // the last block of a row is written in full, or not at all
    }
    return 2;  // what becomes of YUYV422's half pair hangs on the line sizes
}

bool MayBeWrittenInPlace(const PictureShape& from, const PictureShape& to) {
    return to.width >= kLeastWidthInPlace && to.width % WidthMultiple(from, to) == 0;
}

}  // namespace

std::optional<TightScaling> TightScaling::Make(const PictureShape& from, const int fromLinesizes[4],
                                               const PictureShape& to, const int toLinesizes[4]) {
    std::optional<TightScaling> scaling(TightScaling(from, fromLinesizes, to, toLinesizes));
    if (!scaling->MakePadded(to)) {
        scaling.reset();
    }
    return scaling;
}

TightScaling::TightScaling(const PictureShape& from, const int fromLinesizes[4], const PictureShape& to,
                           const int toLinesizes[4])
    : m_From(from), m_nDirectRows(DirectRows(from, fromLinesizes, to)) {
    std::copy_n(fromLinesizes, 4, m_FromLinesizes);
    std::copy_n(toLinesizes, 4, m_ToLinesizes);
}

bool TightScaling::MakePadded(const PictureShape& to) {
    if (m_nDirectRows < m_From.height) {
        m_LastRows = PaddedPicture::Make(m_From.format, m_From.width, m_From.height - m_nDirectRows);
        if (!m_LastRows) {
            return false;
        }
    }
    if (!MayBeWrittenInPlace(m_From, to)) {
        m_PaddedTarget = PaddedPicture::Make(to.format, to.width, to.height);
        return m_PaddedTarget.has_value();
    }
    return true;
}

int TightScaling::Scale(SwsContext* scaler, uint8_t* const from[4], uint8_t* to[4]) {
    if (from[0] == nullptr || to[0] == nullptr) {
        return 0;  // as libswscale answers, which leaves what is nowhere alone
    }
    if (!m_PaddedTarget) {
        return ScaleTo(scaler, from, to, m_ToLinesizes);
    }
    const int result = ScaleTo(scaler, from, m_PaddedTarget->Planes(), m_PaddedTarget->Linesizes());
    if (result >= 0) {
        m_PaddedTarget->CopyTo(to, m_ToLinesizes);
    }
    return result;
}

int TightScaling::ScaleTo(SwsContext* scaler, uint8_t* const from[4], uint8_t* const to[4], const int toLinesizes[4]) {
    if (m_nDirectRows > 0) {
        const int result = sws_scale(scaler, from, m_FromLinesizes, 0, m_nDirectRows, to, toLinesizes);
        if (result < 0 || !m_LastRows) {
            return result;
        }
    }
    const uint8_t* last[4] = {};
    for (int plane = 0; plane < 4 && from[plane] != nullptr; ++plane) {
        last[plane] = from[plane] + static_cast<std::ptrdiff_t>(m_nDirectRows >> ChromaShift(m_From.format, plane)) *
                                        m_FromLinesizes[plane];
    }
    m_LastRows->CopyFrom(last, m_FromLinesizes);
    return sws_scale(scaler, m_LastRows->Planes(), m_LastRows->Linesizes(), m_nDirectRows,
                     m_From.height - m_nDirectRows, to, toLinesizes);
}
