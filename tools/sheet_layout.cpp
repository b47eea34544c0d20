#include "sheet_layout.h"

#include <algorithm>
#include <cmath>

#include "bitmap_font.h"

namespace {

constexpr int kGap = 8;
constexpr int kLabelMargin = 4;
constexpr Color kBackground{24, 26, 30};
constexpr Color kLabelColor{255, 255, 255};

void DrawLabel(Image& cell, const std::string& label) {
    const BitmapFont font{std::max(1, cell.Width() / 150)};
    const int margin = kLabelMargin * font.scale / 2;
    const int width = font.TextWidth(label) + 2 * margin;
    const int height = font.TextHeight() + 2 * margin;
    const int x = cell.Width() - width;
    const int y = cell.Height() - height;
    cell.Darken({x, y, width, height});
    cell.Darken({x, y, width, height});
    font.Draw(cell, x + margin, y + margin, label, kLabelColor);
}

}  // namespace

int SheetLayout::CellWidth(int columns, int width) {
    return (width - (columns + 1) * kGap) / columns;
}

SheetLayout::SheetLayout(int columns, int width, PictureSize first)
    : m_Columns(columns), m_Width(width), m_CellWidth(CellWidth(columns, width)) {
    // Nobody wants to see a cell of a very tall picture whole.
    const double shape = std::min(first.height / static_cast<double>(first.width), 2.0);
    m_CellHeight = std::max(1, static_cast<int>(std::lround(m_CellWidth * shape)));
}

PictureSize SheetLayout::SheetSize(int rows) const {
    return {static_cast<unsigned int>(m_Width), static_cast<unsigned int>(rows * (m_CellHeight + kGap) + kGap)};
}

PictureSize SheetLayout::SizeInCell(PictureSize size) const {
    const double scale =
        std::min(m_CellWidth / static_cast<double>(size.width), m_CellHeight / static_cast<double>(size.height));
    const auto fit = [scale](unsigned int side, int room) {
        return static_cast<unsigned int>(std::clamp(static_cast<int>(std::lround(side * scale)), 1, room));
    };
    return {fit(size.width, m_CellWidth), fit(size.height, m_CellHeight)};
}

Image SheetLayout::DrawCell(const unsigned char* rgb, PictureSize size, const std::string& label) const {
    Image cell(m_CellWidth, m_CellHeight, Color{0, 0, 0});
    const int left = (m_CellWidth - static_cast<int>(size.width)) / 2;
    const int top = (m_CellHeight - static_cast<int>(size.height)) / 2;
    cell.DrawPicture(rgb, size, left, top);
    DrawLabel(cell, label);
    return cell;
}

Image SheetLayout::Assemble(const std::vector<Image>& cells) const {
    const int rows = (static_cast<int>(cells.size()) + m_Columns - 1) / m_Columns;
    const int used = m_Columns * (m_CellWidth + kGap) + kGap;
    Image sheet(m_Width, static_cast<int>(SheetSize(rows).height), kBackground);
    int number = 0;
    for (const Image& cell : cells) {
        const int x = (m_Width - used) / 2 + kGap + number % m_Columns * (m_CellWidth + kGap);
        const int y = kGap + number / m_Columns * (m_CellHeight + kGap);
        const PictureSize size{static_cast<unsigned int>(cell.Width()), static_cast<unsigned int>(cell.Height())};
        sheet.DrawPicture(cell.Data(), size, x, y);
        ++number;
    }
    return sheet;
}
