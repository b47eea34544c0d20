#include "image.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kPixelBytes = 3;

/// The source pixel whose middle is nearest to that of target pixel `i`.
std::size_t Nearest(int i, int targetSize, unsigned int sourceSize) {
    return (2 * static_cast<std::size_t>(i) + 1) * sourceSize / (2 * static_cast<std::size_t>(targetSize));
}

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

// The nearest source pixel for each target pixel, without smoothing. The library's own transforms will do this better.
void Image::DrawScaled(const unsigned char* rgb, PictureSize size, Rectangle area) {
    const Rectangle inside = Clip(area);
    for (int y = inside.y; y < inside.y + inside.height; ++y) {
        const unsigned char* row = rgb + Nearest(y - area.y, area.height, size.height) * size.width * kPixelBytes;
        for (int x = inside.x; x < inside.x + inside.width; ++x) {
            std::memcpy(At(x, y), row + Nearest(x - area.x, area.width, size.width) * kPixelBytes, kPixelBytes);
        }
    }
}
