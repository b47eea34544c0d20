#include "video_decoder/reference_scaler.h"

#include <algorithm>
#include <new>
#include <random>

namespace {

constexpr int kFarLonger = 256;

Picture EmptyPicture(AVPixelFormat format, int width, int height) {
    Picture picture(av_frame_alloc());
    picture->format = format;
    picture->width = width;
    picture->height = height;
    if (av_frame_get_buffer(picture.get(), 0) < 0) {
        throw std::bad_alloc();
    }
    return picture;
}

/// A target with room on every side, in memory that is 0 wherever nothing was written.
class RoomyTarget {
public:
    RoomyTarget(AVPixelFormat format, int width, int height) : m_Format(format), m_Width(width), m_Height(height) {
        av_image_fill_linesizes(m_Linesizes, format, width);
        for (int& linesize : m_Linesizes) {
            linesize = linesize == 0 ? 0 : FFALIGN(linesize, 64) + kFarLonger;
        }
        const int size = av_image_fill_pointers(m_Planes, format, height, nullptr, m_Linesizes);
        m_Bytes.resize(static_cast<std::size_t>(size) + 2 * kFarLonger);
        auto* const begin = reinterpret_cast<uint8_t*>(FFALIGN(reinterpret_cast<uintptr_t>(m_Bytes.data()), 64));
        av_image_fill_pointers(m_Planes, format, height, begin, m_Linesizes);
    }

    uint8_t* const* Planes() const { return m_Planes; }
    const int* Linesizes() const { return m_Linesizes; }

    std::vector<uint8_t> Tight() const {
        std::vector<uint8_t> tight;
        int widths[4];
        av_image_fill_linesizes(widths, m_Format, m_Width);
        const int chromaShift = av_pix_fmt_desc_get(m_Format)->log2_chroma_h;
        for (int plane = 0; plane < 4 && m_Planes[plane] != nullptr; ++plane) {
            const int rows = plane == 0 ? m_Height : AV_CEIL_RSHIFT(m_Height, chromaShift);
            for (int row = 0; row < rows; ++row) {
                const uint8_t* begin = m_Planes[plane] + static_cast<std::ptrdiff_t>(row) * m_Linesizes[plane];
                tight.insert(tight.end(), begin, begin + widths[plane]);
            }
        }
        return tight;
    }

private:
    AVPixelFormat m_Format;
    int m_Width;
    int m_Height;
    int m_Linesizes[4] = {};
    uint8_t* m_Planes[4] = {};
    std::vector<uint8_t> m_Bytes;
};

}  // namespace

Picture PictureFrom(const uint8_t* tight, AVPixelFormat format, unsigned int width, unsigned int height) {
    Picture picture = EmptyPicture(format, static_cast<int>(width), static_cast<int>(height));
    const uint8_t* planes[4];
    int linesizes[4];
    av_image_fill_arrays(const_cast<uint8_t**>(planes), linesizes, tight, format, picture->width, picture->height, 1);
    av_image_copy(picture->data, picture->linesize, planes, linesizes, format, picture->width, picture->height);
    return picture;
}

Picture NoisePicture(AVPixelFormat format, int width, int height, unsigned int seed) {
    Picture picture = EmptyPicture(format, width, height);
    std::minstd_rand noise(seed);
    for (const AVBufferRef* buffer : picture->buf) {
        if (buffer != nullptr) {
            std::generate_n(buffer->data, buffer->size, [&noise] { return static_cast<uint8_t>(noise() >> 8); });
        }
    }
    return picture;
}

std::vector<uint8_t> ScaleLikeFfmpeg(const AVFrame& picture, AVPixelFormat to) {
    SwsContext* scaler = sws_getContext(picture.width, picture.height, static_cast<AVPixelFormat>(picture.format),
                                        picture.width, picture.height, to, SWS_LANCZOS, nullptr, nullptr, nullptr);
    if (scaler == nullptr) {
        return {};
    }
    const RoomyTarget target(to, picture.width, picture.height);
    sws_scale(scaler, picture.data, picture.linesize, 0, picture.height, target.Planes(), target.Linesizes());
    sws_freeContext(scaler);
    return target.Tight();
}
