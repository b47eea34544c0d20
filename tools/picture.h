#pragma once

#include <codrelay/frame_buffer.h>

#include <cstddef>
#include <memory>
#include <string>

struct PictureSize {
    unsigned int width = 0;
    unsigned int height = 0;

    bool operator==(const PictureSize& other) const { return width == other.width && height == other.height; }
};

/// "320x240".
std::string SizeText(PictureSize size);

/// The bytes of a picture without padding, in a colour space that a decoder or a transform gives.
std::size_t PictureBytes(unsigned int colorSpace, PictureSize size);

/// A picture of known size. Holding one that a decoder gave keeps one of its eight buffers.
struct Picture {
    std::shared_ptr<CFrameBufferBase> frame;
    PictureSize size;
    std::size_t bytes = 0;
};
