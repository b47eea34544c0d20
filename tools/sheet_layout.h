#pragma once

#include <string>
#include <vector>

#include "image.h"
#include "picture.h"

/// Where each picture of a contact sheet goes, and the drawing of it. All pictures get cells of one shape, that of the
/// first; one of another shape stands in the middle of its cell.
class SheetLayout {
public:
    /// REQUIRES: `columns` is positive and CellWidth(columns, width) is too.
    SheetLayout(int columns, int width, PictureSize first);

    /// The width that is left for one picture.
    static int CellWidth(int columns, int width);

    /// The size of a sheet of so many rows.
    PictureSize SheetSize(int rows) const;
    /// The size of a picture that is scaled to fill a cell, its shape kept.
    PictureSize SizeInCell(PictureSize size) const;
    /// Puts packed RGB of a size that fits in the middle of a cell, with `label` in the cell's corner.
    Image DrawCell(const unsigned char* rgb, PictureSize size, const std::string& label) const;
    /// Puts the cells in rows.
    Image Assemble(const std::vector<Image>& cells) const;

private:
    int m_Columns;
    int m_Width;
    int m_CellWidth;
    int m_CellHeight;
};
