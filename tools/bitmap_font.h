#pragma once

#include <string>

#include "image.h"

/// A small font of 5 by 7 dots for times: digits, ':', '.' and '-'. Other characters are blank.
struct BitmapFont {
    /// How many pixels a dot has on each side.
    int scale;

    int TextWidth(const std::string& text) const;
    int TextHeight() const;
    /// `x` and `y` are the top left corner.
    void Draw(Image& image, int x, int y, const std::string& text, Color color) const;
};
