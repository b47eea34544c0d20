#include "support/padded_picture.h"

#include <cstring>
#include <new>

namespace {

constexpr int kWidthMultiple = 32;
constexpr int kRowAlignment = 64;
constexpr std::size_t kSlack = 64;

/// What a tight row of a plane holds, and the bytes at its end that stand for its last pixel.
struct PlaneRow {
    int bytes;
    int unit;
};

PlaneRow RowOf(AVPixelFormat format, int plane, int width) {
    if (format == AV_PIX_FMT_YUYV422) {
        return {2 * width, width > 1 ? 4 : 2};  // a pixel's colour stands in two pixels
    }
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    const int columns = plane == 0 ? width : AV_CEIL_RSHIFT(width, descriptor->log2_chroma_w);
    const int step = descriptor->comp[plane].step;
    return {columns * step, step};
}

}  // namespace

std::optional<PaddedPicture> PaddedPicture::Make(AVPixelFormat format, int width, int height) {
    std::optional<PaddedPicture> picture(PaddedPicture(format, width, height));
    if (!picture->LayOut()) {
        picture.reset();
    }
    return picture;
}

PaddedPicture::PaddedPicture(AVPixelFormat format, int width, int height)
    : m_Format(format), m_Width(width), m_Height(height) {}

bool PaddedPicture::LayOut() {
    if (av_image_fill_linesizes(m_Linesizes, m_Format, FFALIGN(m_Width, kWidthMultiple)) < 0) {
        return false;
    }
    for (int& linesize : m_Linesizes) {
        linesize = FFALIGN(linesize, kRowAlignment);
    }
    const int size = av_image_fill_pointers(m_Planes, m_Format, m_Height, nullptr, m_Linesizes);
    if (size < 0) {
        return false;
    }
    const std::size_t room = static_cast<std::size_t>(size) + kSlack;
    m_pBytes.reset(static_cast<uint8_t*>(::operator new(room, std::align_val_t(kRowAlignment))));
    std::memset(m_pBytes.get(), 0, room);  // some conversions leave the last column of an odd width alone
    return av_image_fill_pointers(m_Planes, m_Format, m_Height, m_pBytes.get(), m_Linesizes) >= 0;
}

void PaddedPicture::CopyTo(uint8_t* planes[4], const int linesizes[4]) const {
    const uint8_t* from[4] = {m_Planes[0], m_Planes[1], m_Planes[2], m_Planes[3]};
    av_image_copy(planes, const_cast<int*>(linesizes), from, m_Linesizes, m_Format, m_Width, m_Height);
}

void PaddedPicture::CopyFrom(const uint8_t* const planes[4], const int linesizes[4]) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(m_Format);
    for (int plane = 0; plane < 4 && m_Planes[plane] != nullptr; ++plane) {
        const int rows = plane == 0 ? m_Height : AV_CEIL_RSHIFT(m_Height, format->log2_chroma_h);
        const PlaneRow row = RowOf(m_Format, plane, m_Width);
        for (int y = 0; y < rows; ++y) {
            uint8_t* to = m_Planes[plane] + static_cast<std::ptrdiff_t>(y) * m_Linesizes[plane];
            std::memcpy(to, planes[plane] + static_cast<std::ptrdiff_t>(y) * linesizes[plane],
                        static_cast<std::size_t>(row.bytes));
            if (m_Width % 2 != 0) {
                std::memcpy(to + row.bytes, to + row.bytes - row.unit, static_cast<std::size_t>(row.unit));
            }
        }
    }
}

void PaddedPicture::AlignedDelete::operator()(uint8_t* bytes) const {
    ::operator delete(bytes, std::align_val_t(kRowAlignment));
}
