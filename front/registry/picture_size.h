#pragma once

#include <type_traits>

#include "codrelay/media_ids.h"

/// The bytes of a tight picture in a colour space, in the arithmetic of an unsigned type; odd sizes of a 4:2:0 picture
/// are rounded up for the chroma planes. 0 for an id that has no size: hosts know CSP_NV12 as one of those.
template <typename Size = unsigned int>
Size PictureSize(unsigned int colorSpace, std::common_type_t<Size> width, std::common_type_t<Size> height) {
    static_assert(std::is_unsigned_v<Size>, "too large a picture wraps around");
    switch (colorSpace) {
        case CSP_YUV420P_ALT:
        case CSP_YUV420P:
            return width * height + ((width + 1) & ~Size{1}) * ((height + 1) & ~Size{1}) / 2;
        case CSP_YUYV422:
            return width * height * 2;
        case CSP_BGR24:
        case CSP_RGB24:
            return width * height * 3;
        case CSP_BGRA:
            return width * height * 4;
        default:
            return 0;
    }
}
