#include "image.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kPixelBytes = 3;

}  // namespace

Image::Image(int width, int height, Color background)
    : m_Width(width),
      m_Height(height),
      m_Pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * kPixelBytes) {
    FillRectangle({0, 0, width, height}, background);
}

unsigned char* Image::At(int x, int y) {
    return m_Pixels.data() +
           (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_Width) + static_cast<std::size_t>(x)) *
               kPixelBytes;
}

Rectangle Image::Clip(Rectangle area) const {
    const int left = std::clamp(area.x, 0, m_Width);
    const int top = std::clamp(area.y, 0, m_Height);
    const int right = std::clamp(area.x + area.width, left, m_Width);
    const int bottom = std::clamp(area.y + area.height, top, m_Height);
    return {left, top, right - left, bottom - top};
}

void Image::FillRectangle(Rectangle area, Color color) {
    const Rectangle inside = Clip(area);
    for (int y = inside.y; y < inside.y + inside.height; ++y) {
        for (int x = inside.x; x < inside.x + inside.width; ++x) {
            std::memcpy(At(x, y), &color, kPixelBytes);
        }
    }
}

void Image::Darken(Rectangle area) {
    const Rectangle inside = Clip(area);
    for (int y = inside.y; y < inside.y + inside.height; ++y) {
        unsigned char* row = At(inside.x, y);
        std::transform(row, row + static_cast<std::size_t>(inside.width) * kPixelBytes, row,
                       [](unsigned char value) { return static_cast<unsigned char>(value / 2); });
    }
}

void Image::DrawPicture(const unsigned char* rgb, PictureSize size, int x, int y) {
    const Rectangle inside = Clip({x, y, static_cast<int>(size.width), static_cast<int>(size.height)});
    for (int row = inside.y; row < inside.y + inside.height && inside.width > 0; ++row) {
        const std::size_t skipped =
            static_cast<std::size_t>(row - y) * size.width + static_cast<std::size_t>(inside.x - x);
        std::memcpy(At(inside.x, row), rgb + skipped * kPixelBytes,
                    static_cast<std::size_t>(inside.width) * kPixelBytes);
    }
}
