#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "support/ffmpeg.h"

/// A picture of our own with the room round its rows that FFmpeg's scaler needs. Its fast paths write and read whole
/// vector registers: past the end of a row, and past the end of the picture at the last one, or they leave the last
/// columns alone where rows are tight. A tight picture of the host is therefore scaled here and its rows are copied.
class PaddedPicture {
public:
    /// True where the scaler must not be given tight rows of that width.
    static bool IsNeededFor(int width) { return width % 16 != 0; }

    /// None where FFmpeg cannot lay such a picture out: a format without rows, or more bytes than it counts. Throws
    /// `std::bad_alloc` where there is no memory for it. REQUIRES: sizes above 0.
    static std::optional<PaddedPicture> Make(AVPixelFormat format, int width, int height);

    uint8_t* const* Planes() const { return m_Planes; }
    const int* Linesizes() const { return m_Linesizes; }

    /// Takes the rows of a tight picture. An odd width gets the last pixel of each row again in the padding, since
    /// chroma is made of pairs of pixels.
    void CopyFrom(const uint8_t* const planes[4], const int linesizes[4]);

    /// Copies the picture without its padding to rows elsewhere, such as tight ones.
    void CopyTo(uint8_t* planes[4], const int linesizes[4]) const;

private:
    struct AlignedDelete {
        void operator()(uint8_t* bytes) const;
    };

    PaddedPicture(AVPixelFormat format, int width, int height);
    bool LayOut();

    AVPixelFormat m_Format;
    int m_Width;
    int m_Height;
    int m_Linesizes[4] = {};
    uint8_t* m_Planes[4] = {};
    std::unique_ptr<uint8_t[], AlignedDelete> m_pBytes;
};
