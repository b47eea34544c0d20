#pragma once

#include "codrelay/media_ids.h"

/// The bytes of a tight picture in a colour space, in unsigned 32-bit arithmetic; odd sizes of a 4:2:0 picture are
/// rounded up for the chroma planes. 0 for an id that has no size: hosts know CSP_NV12 as one of those.
inline unsigned int PictureSize(unsigned int colorSpace, unsigned int width, unsigned int height) {
    switch (colorSpace) {
        case CSP_YUV420P_ALT:
        case CSP_YUV420P:
            return width * height + ((width + 1) & ~1U) * ((height + 1) & ~1U) / 2;
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
