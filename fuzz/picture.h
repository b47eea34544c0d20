#pragma once

#include <algorithm>
#include <memory>

#include "codrelay/frame_buffer.h"
#include "codrelay/media_ids.h"
#include "front/registry/picture_size.h"

/// The bytes of a tight picture, of NV12 too. REQUIRES: `width` and `height` are not negative.
inline std::size_t BytesOfPicture(unsigned int colorSpace, int width, int height) {
    return PictureSize<std::size_t>(colorSpace == CSP_NV12 ? CSP_YUV420P : colorSpace, static_cast<std::size_t>(width),
                                    static_cast<std::size_t>(height));
}

/// A host's picture in memory of its very size.
class Picture : public CFrameBufferBase {
public:
    Picture(unsigned int colorSpace, int width, int height)
        : m_nSize(BytesOfPicture(colorSpace, width, height)), m_pBytes(new unsigned char[m_nSize]) {}

    /// Something between a flat picture and noise: `step` 0 is flat.
    void Draw(unsigned char first, unsigned char step) {
        unsigned char value = first;
        std::generate_n(m_pBytes.get(), m_nSize, [&value, step] {
            value = static_cast<unsigned char>(value * (step / 2 * 2 + 1) + step);
            return value;
        });
    }

    unsigned char* GetData() override { return m_pBytes.get(); }
    const unsigned char* GetConstData() override { return m_pBytes.get(); }

private:
    std::size_t m_nSize;
    std::unique_ptr<unsigned char[]> m_pBytes;
};
