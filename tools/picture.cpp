#include "picture.h"

#include <codrelay/media_ids.h>

std::string SizeText(PictureSize size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::size_t PictureBytes(unsigned int colorSpace, PictureSize size) {
    const std::size_t pixels = std::size_t{size.width} * size.height;
    switch (colorSpace) {
        case CSP_BGRA:
            return pixels * 4;
        case CSP_RGB24:
        case CSP_BGR24:
            return pixels * 3;
        default: {
            const std::size_t evenWidth = (std::size_t{size.width} + 1) / 2 * 2;
            const std::size_t evenHeight = (std::size_t{size.height} + 1) / 2 * 2;
            return pixels + evenWidth * evenHeight / 2;
        }
    }
}
