#include <gmock/gmock.h>

#include <array>
#include <string>
#include <vector>

#include "bitmap_font.h"
#include "image.h"
#include "sheet_layout.h"

namespace {

constexpr Color kBlack{0, 0, 0};
constexpr Color kWhite{255, 255, 255};

/// The red of each pixel as a character: '.' for 0, '#' for 255, digits for the first ten values above 0.
std::vector<std::string> Rows(const Image& image) {
    std::vector<std::string> rows;
    for (int y = 0; y < image.Height(); ++y) {
        std::string row;
        for (int x = 0; x < image.Width(); ++x) {
            const unsigned char red = image.Data()[static_cast<std::size_t>(y * image.Width() + x) * 3];
            row += red == 0 ? '.' : red == 255 ? '#' : static_cast<char>('0' + red);
        }
        rows.push_back(row);
    }
    return rows;
}

/// Grey pixels of these values.
std::vector<unsigned char> Grey(const std::vector<unsigned char>& values) {
    std::vector<unsigned char> rgb;
    for (const unsigned char value : values) {
        rgb.insert(rgb.end(), 3, value);
    }
    return rgb;
}

}  // namespace

using testing::ElementsAre;

TEST(ImageTest, RectanglesAreFilledInsideTheImageOnly) {
    Image image(4, 3, kBlack);
    image.FillRectangle({2, 1, 10, 10}, kWhite);
    image.FillRectangle({-5, -5, 6, 6}, kWhite);
    image.FillRectangle({9, 9, 2, 2}, kWhite);
    EXPECT_THAT(Rows(image), ElementsAre("#...", "..##", "..##"));
}

TEST(ImageTest, ColoursAreRedGreenBlue) {
    const Image image(1, 1, {1, 2, 3});
    EXPECT_THAT(std::vector<int>(image.Data(), image.Data() + 3), ElementsAre(1, 2, 3));
}

TEST(ImageTest, DarkeningHalves) {
    Image image(3, 1, {8, 8, 8});
    image.Darken({1, 0, 1, 1});
    EXPECT_THAT(Rows(image), ElementsAre("848"));
}

TEST(ImageTest, APictureIsDrawnWhereItIsToGo) {
    Image image(4, 3, kBlack);
    image.DrawPicture(Grey({1, 2, 3, 4}).data(), {2, 2}, 1, 1);
    EXPECT_THAT(Rows(image), ElementsAre("....", ".12.", ".34."));
}

TEST(ImageTest, WhatFallsOutsideIsCutOff) {
    Image image(2, 2, kBlack);
    image.DrawPicture(Grey({1, 2, 3, 4, 5, 6, 7, 8}).data(), {4, 2}, -1, 1);
    image.DrawPicture(Grey({9, 9}).data(), {1, 2}, 7, 0);
    image.DrawPicture(Grey({9, 9}).data(), {1, 2}, 0, -5);
    EXPECT_THAT(Rows(image), ElementsAre("..", "23"));
}

TEST(BitmapFontTest, DrawsDigitsAndMarks) {
    const BitmapFont font{1};
    EXPECT_EQ(font.TextWidth("1:2"), 17);
    EXPECT_EQ(font.TextWidth(""), 0);
    EXPECT_EQ(font.TextHeight(), 7);
    Image image(17, 7, kBlack);
    font.Draw(image, 0, 0, "1:2", kWhite);
    EXPECT_THAT(Rows(image), ElementsAre("..#.."
                                         "."
                                         "....."
                                         "."
                                         ".###.",  //
                                         ".##.."
                                         "."
                                         "..#.."
                                         "."
                                         "#...#",  //
                                         "..#.."
                                         "."
                                         "..#.."
                                         "."
                                         "....#",  //
                                         "..#.."
                                         "."
                                         "....."
                                         "."
                                         "...#.",  //
                                         "..#.."
                                         "."
                                         "..#.."
                                         "."
                                         "..#..",  //
                                         "..#.."
                                         "."
                                         "..#.."
                                         "."
                                         ".#...",  //
                                         ".###."
                                         "."
                                         "....."
                                         "."
                                         "#####"));
}

TEST(BitmapFontTest, ScalesItsDots) {
    Image image(10, 14, kBlack);
    BitmapFont{2}.Draw(image, 0, 0, "-", kWhite);
    EXPECT_EQ(Rows(image)[6], "##########");
    EXPECT_EQ(Rows(image)[7], "##########");
    EXPECT_EQ(Rows(image)[8], "..........");
}

TEST(BitmapFontTest, LeavesABlankForWhatItDoesNotKnow) {
    Image image(11, 7, kBlack);
    BitmapFont{1}.Draw(image, 0, 0, "x.", kWhite);
    EXPECT_THAT(Rows(image), ElementsAre("...........", "...........", "...........", "...........", "...........",
                                         "........#..", "........#.."));
}

TEST(SheetLayoutTest, CellsShareTheWidth) {
    EXPECT_EQ(SheetLayout::CellWidth(3, 632), 200);
    EXPECT_EQ(SheetLayout(3, 632, {320, 240}).SheetSize(2), (PictureSize{632, 2 * 150 + 3 * 8}));
}

TEST(SheetLayoutTest, VeryTallAndVeryFlatPicturesStayInReason) {
    EXPECT_EQ(SheetLayout(3, 632, {2, 1000}).SheetSize(1), (PictureSize{632, 400 + 2 * 8}));
    EXPECT_EQ(SheetLayout(3, 632, {8192, 1}).SheetSize(1), (PictureSize{632, 1 + 2 * 8}));
}

TEST(SheetLayoutTest, PicturesFillTheirCellsAndKeepTheirShape) {
    const SheetLayout layout(3, 632, {320, 240});
    EXPECT_EQ(layout.SizeInCell({320, 240}), (PictureSize{200, 150}));
    EXPECT_EQ(layout.SizeInCell({40, 30}), (PictureSize{200, 150}));
    EXPECT_EQ(layout.SizeInCell({640, 360}), (PictureSize{200, 113}));
    EXPECT_EQ(layout.SizeInCell({100, 200}), (PictureSize{75, 150}));
    EXPECT_EQ(layout.SizeInCell({8192, 1}), (PictureSize{200, 1}));
}

TEST(SheetLayoutTest, AWidePictureStandsInTheMiddleOfItsCell) {
    const SheetLayout layout(1, 40, {4, 4});
    ASSERT_EQ(layout.SizeInCell({2, 1}), (PictureSize{24, 12}));
    const std::vector<unsigned char> picture = Grey(std::vector<unsigned char>(24 * 12, 9));
    const std::vector<std::string> rows = Rows(layout.DrawCell(picture.data(), {24, 12}, ""));
    ASSERT_EQ(rows.size(), 24u);
    // The label's box is on the right.
    EXPECT_EQ(rows[5].substr(0, 12), std::string(12, '.'));
    EXPECT_EQ(rows[6].substr(0, 12), std::string(12, '9'));
    EXPECT_EQ(rows[17].substr(0, 12), std::string(12, '9'));
    EXPECT_EQ(rows[18].substr(0, 12), std::string(12, '.'));
}
