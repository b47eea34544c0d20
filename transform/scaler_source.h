#pragma once

#include <cstdint>
#include <memory>

#include "support/ffmpeg.h"
#include "support/padded_picture.h"

/// Feeds a tight picture to libswscale, which reads past the ends of rows. Within the picture that meets the next row;
/// so only the last rows come from a padded copy, as a second slice. A width whose last chroma sample belongs to a
/// column that is not there comes from a padded copy altogether.
class ScalerSource {
public:
    /// False where libswscale, taking such a picture apart, wants more of the other side's rows than their width tells.
    static bool MayWriteRowsInPlace(AVPixelFormat format, int width);

    /// Throws std::bad_alloc. REQUIRES: a format that the transforms take, sizes above 0.
    ScalerSource(AVPixelFormat format, int width, int height, const int linesizes[4]);

    /// Scales the picture at `src`, with the line sizes of the constructor. What sws_scale answers: negative on
    /// failure.
    int Scale(SwsContext* scaler, uint8_t* const src[4], uint8_t* const dst[4], const int dstLinesizes[4]);

private:
    AVPixelFormat m_Format;
    int m_nHeight;
    int m_Linesizes[4];
    int m_nDirectRows;
    PaddedPicture m_Tail;
};
