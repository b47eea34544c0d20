#include "bitmap_font.h"

#include <array>
#include <string_view>

namespace {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
/// From one character to the next, in dots.
constexpr int kAdvance = kGlyphWidth + 1;

/// One string of five dots for each of the seven rows.
using Glyph = std::array<std::string_view, kGlyphHeight>;

constexpr std::string_view kCharacters = "0123456789:.-";
constexpr std::array<Glyph, kCharacters.size()> kGlyphs = {{
    {".###.", "#...#", "#..##", "#.#.#", "##..#", "#...#", ".###."},
    {"..#..", ".##..", "..#..", "..#..", "..#..", "..#..", ".###."},
    {".###.", "#...#", "....#", "...#.", "..#..", ".#...", "#####"},
    {".###.", "#...#", "....#", "..##.", "....#", "#...#", ".###."},
    {"...#.", "..##.", ".#.#.", "#..#.", "#####", "...#.", "...#."},
    {"#####", "#....", "####.", "....#", "....#", "#...#", ".###."},
    {"..##.", ".#...", "#....", "####.", "#...#", "#...#", ".###."},
    {"#####", "....#", "...#.", "..#..", ".#...", ".#...", ".#..."},
    {".###.", "#...#", "#...#", ".###.", "#...#", "#...#", ".###."},
    {".###.", "#...#", "#...#", ".####", "....#", "...#.", ".##.."},
    {".....", "..#..", "..#..", ".....", "..#..", "..#..", "....."},
    {".....", ".....", ".....", ".....", ".....", "..#..", "..#.."},
    {".....", ".....", ".....", "#####", ".....", ".....", "....."},
}};

}  // namespace

int BitmapFont::TextWidth(const std::string& text) const {
    return text.empty() ? 0 : (static_cast<int>(text.size()) * kAdvance - 1) * scale;
}

int BitmapFont::TextHeight() const {
    return kGlyphHeight * scale;
}

void BitmapFont::Draw(Image& image, int x, int y, const std::string& text, Color color) const {
    for (const char character : text) {
        const std::size_t index = kCharacters.find(character);
        for (int dot = 0; index != std::string_view::npos && dot < kGlyphWidth * kGlyphHeight; ++dot) {
            const int column = dot % kGlyphWidth;
            const int row = dot / kGlyphWidth;
            if (kGlyphs[index][static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] == '#') {
                image.FillRectangle({x + column * scale, y + row * scale, scale, scale}, color);
            }
        }
        x += kAdvance * scale;
    }
}
