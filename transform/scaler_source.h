#pragma once

#include <optional>

#include "support/ffmpeg.h"
#include "support/padded_picture.h"

/// What one side of a scaler is made for.
struct PictureShape {
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int width = 0;
    int height = 0;
};

/// Feeds a tight picture to libswscale, which reads past the ends of rows. Within the picture that meets the next row
/// and does no harm; so only the last rows come from a padded copy, as a second slice. Where the bytes past a row
/// count, or a picture must not come in slices, all of it comes from the copy.
class ScalerSource {
public:
    /// False where libswscale, taking such a picture apart, wants more of the other side's rows than their width tells.
    static bool MayWriteRowsInPlace(const PictureShape& from);

    /// Throws std::bad_alloc. REQUIRES: formats that the transforms take, sizes above 0.
    ScalerSource(const PictureShape& from, const PictureShape& to, const int linesizes[4]);

    /// Scales the picture at `src`, with the line sizes of the constructor. What sws_scale answers: negative on
    /// failure.
    int Scale(SwsContext* scaler, uint8_t* const src[4], uint8_t* const dst[4], const int dstLinesizes[4]);

private:
    PictureShape m_Shape;
    int m_Linesizes[4];
    int m_nDirectRows;
    std::optional<PaddedPicture> m_Tail;
};
