#include "support/padded_picture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <vector>

namespace {

TEST(PaddedPicture, IsNeededUnlessRowsAreWholeBlocksOf16) {
    for (const int width : {16, 32, 48, 176, 320, 640, 1920}) {
        EXPECT_FALSE(PaddedPicture::IsNeededFor(width)) << width;
    }
    for (const int width : {1, 2, 8, 15, 17, 31, 33, 426, 854, 1366}) {
        EXPECT_TRUE(PaddedPicture::IsNeededFor(width)) << width;
    }
}

TEST(PaddedPicture, HasAlignedRowsOfTheWidthRoundedUp) {
    const PaddedPicture planar = *PaddedPicture::Make(AV_PIX_FMT_YUV420P, 33, 17);
    EXPECT_EQ(planar.Linesizes()[0], 64);
    EXPECT_EQ(planar.Linesizes()[1], 64);
    EXPECT_EQ(planar.Linesizes()[2], 64);
    EXPECT_EQ(planar.Linesizes()[3], 0);
    EXPECT_EQ(planar.Planes()[1] - planar.Planes()[0], 17 * 64);
    EXPECT_EQ(planar.Planes()[2] - planar.Planes()[1], 9 * 64);
    EXPECT_EQ(planar.Planes()[3], nullptr);

    const PaddedPicture packed = *PaddedPicture::Make(AV_PIX_FMT_RGB24, 854, 2);
    EXPECT_EQ(packed.Linesizes()[0], 2624);
    EXPECT_EQ(PaddedPicture::Make(AV_PIX_FMT_BGRA, 65, 2)->Linesizes()[0], 96 * 4);
    for (const PaddedPicture* picture : {&planar, &packed}) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(picture->Planes()[0]) % 64, 0U);
    }
}

TEST(PaddedPicture, CopiesItsRowsWithoutTheirPadding) {
    const PaddedPicture picture = *PaddedPicture::Make(AV_PIX_FMT_YUV420P, 3, 3);
    for (int plane = 0; plane < 3; ++plane) {
        for (int row = 0; row < (plane == 0 ? 3 : 2); ++row) {
            std::memset(picture.Planes()[plane] + row * 64, 10 * plane + row, 64);
        }
    }
    std::vector<uint8_t> tight(17, 99);
    uint8_t* planes[4] = {&tight[0], &tight[9], &tight[13], nullptr};
    const int linesizes[4] = {3, 2, 2, 0};
    picture.CopyTo(planes, linesizes);
    EXPECT_EQ(tight, (std::vector<uint8_t>{0, 0, 0, 1, 1, 1, 2, 2, 2, 10, 10, 11, 11, 20, 20, 21, 21}));
}

using Bytes = std::vector<uint8_t>;

/// The first bytes of the first row after a tight picture of one plane was taken.
Bytes FirstRow(AVPixelFormat format, int width, const Bytes& tight, std::size_t bytes) {
    PaddedPicture picture = *PaddedPicture::Make(format, width, 1);
    const uint8_t* const planes[4] = {tight.data()};
    const int linesizes[4] = {static_cast<int>(tight.size())};
    picture.CopyFrom(planes, linesizes);
    return Bytes(picture.Planes()[0], picture.Planes()[0] + bytes);
}

TEST(PaddedPicture, RepeatsTheLastPixelOfAnOddWidth) {
    EXPECT_EQ(FirstRow(AV_PIX_FMT_RGB24, 2, {1, 2, 3, 4, 5, 6}, 9), (Bytes{1, 2, 3, 4, 5, 6, 0, 0, 0}));
    EXPECT_EQ(FirstRow(AV_PIX_FMT_RGB24, 1, {1, 2, 3}, 7), (Bytes{1, 2, 3, 1, 2, 3, 0}));
    EXPECT_EQ(FirstRow(AV_PIX_FMT_BGRA, 1, {1, 2, 3, 4}, 9), (Bytes{1, 2, 3, 4, 1, 2, 3, 4, 0}));
}

// Colours come in pairs of pixels.
TEST(PaddedPicture, RepeatsTheLastTwoPixelsOfAnOddWidthOfYUYV422) {
    EXPECT_EQ(FirstRow(AV_PIX_FMT_YUYV422, 3, {1, 2, 3, 4, 5, 6}, 11), (Bytes{1, 2, 3, 4, 5, 6, 3, 4, 5, 6, 0}));
    EXPECT_EQ(FirstRow(AV_PIX_FMT_YUYV422, 1, {1, 2}, 5), (Bytes{1, 2, 1, 2, 0}));
}

TEST(PaddedPicture, TakesEveryRowOfEveryPlane) {
    PaddedPicture picture = *PaddedPicture::Make(AV_PIX_FMT_YUV420P, 3, 3);
    const Bytes tight{1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 21, 22, 23, 24};
    const uint8_t* const planes[4] = {&tight[0], &tight[9], &tight[13]};
    const int linesizes[4] = {3, 2, 2};
    picture.CopyFrom(planes, linesizes);
    const auto row = [&picture](int plane, int y, int bytes) {
        const uint8_t* begin = picture.Planes()[plane] + y * picture.Linesizes()[plane];
        return Bytes(begin, begin + bytes);
    };
    EXPECT_EQ(row(0, 0, 5), (Bytes{1, 2, 3, 3, 0}));
    EXPECT_EQ(row(0, 2, 5), (Bytes{7, 8, 9, 9, 0}));
    EXPECT_EQ(row(1, 1, 4), (Bytes{13, 14, 14, 0}));
    EXPECT_EQ(row(2, 1, 4), (Bytes{23, 24, 24, 0}));
}

TEST(PaddedPicture, ThatCannotBeLaidOutIsNone) {
    EXPECT_FALSE(PaddedPicture::Make(AV_PIX_FMT_BGRA, 8947, 60000));
    EXPECT_FALSE(PaddedPicture::Make(AV_PIX_FMT_VAAPI, 16, 16));
    EXPECT_FALSE(PaddedPicture::Make(AV_PIX_FMT_NONE, 16, 16));
}

}  // namespace
