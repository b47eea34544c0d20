#pragma once

#include <cstddef>
#include <vector>

#include "picture.h"

struct Color {
    unsigned char red;
    unsigned char green;
    unsigned char blue;
};

struct Rectangle {
    int x;
    int y;
    int width;
    int height;
};

/// A picture of packed RGB to draw on. What falls outside is not drawn.
class Image {
public:
    Image(int width, int height, Color background);

    int Width() const { return m_Width; }
    int Height() const { return m_Height; }
    const unsigned char* Data() const { return m_Pixels.data(); }

    void FillRectangle(Rectangle area, Color color);
    /// Brings what is in `area` half way to black.
    void Darken(Rectangle area);
    /// Draws packed RGB of `size`; `x` and `y` are where its top left corner goes.
    void DrawPicture(const unsigned char* rgb, PictureSize size, int x, int y);

private:
    Rectangle Clip(Rectangle area) const;
    unsigned char* At(int x, int y);

    int m_Width;
    int m_Height;
    std::vector<unsigned char> m_Pixels;
};
