#include "transform/scaler_source.h"

#include <algorithm>

namespace {

// More than libswscale was ever seen to read past a row.
constexpr int kReadAhead = 64;

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

bool MayReadRowsInPlace(AVPixelFormat format, int width) {
    return width % 2 == 0 && ScalerSource::MayWriteRowsInPlace(format, width);
}

int DirectRows(AVPixelFormat format, int width, int height, const int linesizes[4]) {
    if (!MayReadRowsInPlace(format, width)) {
        return 0;
    }
    // An even count: a slice ends with a whole row of chroma.
    return std::max(0, (height - TailRows(format, linesizes)) & ~1);
}

}  // namespace

// NV12's chroma is taken apart by stores that want rows of whole registers.
bool ScalerSource::MayWriteRowsInPlace(AVPixelFormat format, int width) {
    return format != AV_PIX_FMT_NV12 || width % 32 == 0;
}

ScalerSource::ScalerSource(AVPixelFormat format, int width, int height, const int linesizes[4])
    : m_Format(format),
      m_nHeight(height),
      m_nDirectRows(DirectRows(format, width, height, linesizes)),
      m_Tail(format, width, height - m_nDirectRows) {
    std::copy_n(linesizes, 4, m_Linesizes);
}

int ScalerSource::Scale(SwsContext* scaler, uint8_t* const src[4], uint8_t* const dst[4], const int dstLinesizes[4]) {
    if (m_nDirectRows > 0) {
        const int result = sws_scale(scaler, src, m_Linesizes, 0, m_nDirectRows, dst, dstLinesizes);
        if (result < 0) {
            return result;
        }
    }
    const uint8_t* tail[4] = {};
    for (int plane = 0; plane < 4 && src[plane] != nullptr; ++plane) {
        tail[plane] = src[plane] +
                      static_cast<std::ptrdiff_t>(m_nDirectRows >> ChromaShift(m_Format, plane)) * m_Linesizes[plane];
    }
    m_Tail.CopyFrom(tail, m_Linesizes);
    return sws_scale(scaler, m_Tail.Planes(), m_Tail.Linesizes(), m_nDirectRows, m_nHeight - m_nDirectRows, dst,
                     dstLinesizes);
}
