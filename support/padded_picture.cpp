#include "support/padded_picture.h"

#include <cstring>
#include <new>

namespace {

constexpr int kWidthMultiple = 32;
constexpr int kRowAlignment = 64;
constexpr std::size_t kSlack = 64;

void RequireRoom(int result) {
    if (result < 0) {
        throw std::bad_alloc();
    }
}

}  // namespace

PaddedPicture::PaddedPicture(AVPixelFormat format, int width, int height)
    : m_Format(format), m_Width(width), m_Height(height) {
    RequireRoom(av_image_fill_linesizes(m_Linesizes, format, FFALIGN(width, kWidthMultiple)));
    for (int& linesize : m_Linesizes) {
        linesize = FFALIGN(linesize, kRowAlignment);
    }
    const int size = av_image_fill_pointers(m_Planes, format, height, nullptr, m_Linesizes);
    RequireRoom(size);
    const std::size_t room = static_cast<std::size_t>(size) + kSlack;
    m_pBytes.reset(static_cast<uint8_t*>(::operator new(room, std::align_val_t(kRowAlignment))));
    std::memset(m_pBytes.get(), 0, room);  // some conversions leave the last column of an odd width alone
    av_image_fill_pointers(m_Planes, format, height, m_pBytes.get(), m_Linesizes);
}

void PaddedPicture::CopyTo(uint8_t* planes[4], const int linesizes[4]) const {
    const uint8_t* from[4] = {m_Planes[0], m_Planes[1], m_Planes[2], m_Planes[3]};
    av_image_copy(planes, const_cast<int*>(linesizes), from, m_Linesizes, m_Format, m_Width, m_Height);
}

void PaddedPicture::AlignedDelete::operator()(uint8_t* bytes) const {
    ::operator delete(bytes, std::align_val_t(kRowAlignment));
}
