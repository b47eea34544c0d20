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

/// Scales a picture with tight rows into another one, with what libswscale gives on padded rows. Left to itself it
/// reads past the ends of rows. Within the picture that meets the next row and does no harm, so only the last rows come
/// from a padded copy, as a second slice; where the bytes past a row count, or a picture must not come in slices, all
/// of it does. Of the conversions only a few write past the end, and then into a padded picture of our own.
class TightScaling {
public:
    /// None where a padded picture would have more bytes than FFmpeg counts. Throws std::bad_alloc.
    /// REQUIRES: formats that the transforms take, sizes above 0.
    static std::optional<TightScaling> Make(const PictureShape& from, const int fromLinesizes[4],
                                            const PictureShape& to, const int toLinesizes[4]);

    /// Scales the picture at `from`, with the line sizes that were told. What sws_scale answers: negative on
    /// failure.
    int Scale(SwsContext* scaler, uint8_t* const from[4], uint8_t* to[4]);

private:
    TightScaling(const PictureShape& from, const int fromLinesizes[4], const PictureShape& to,
                 const int toLinesizes[4]);

    bool MakePadded(const PictureShape& to);
    int ScaleTo(SwsContext* scaler, uint8_t* const from[4], uint8_t* const to[4], const int toLinesizes[4]);

    PictureShape m_From;
    int m_FromLinesizes[4];
    int m_ToLinesizes[4];
    int m_nDirectRows;
    std::optional<PaddedPicture> m_LastRows;
    std::optional<PaddedPicture> m_PaddedTarget;
};
