#include "front/registry/picture_size.h"

#include <gtest/gtest.h>

#include "support/ffmpeg.h"

namespace {

TEST(PictureSize, FollowsTheColorSpace) {
    EXPECT_EQ(PictureSize(CSP_YUV420P_ALT, 640, 360), 345600U);
    EXPECT_EQ(PictureSize(CSP_YUV420P, 640, 360), 345600U);
    EXPECT_EQ(PictureSize(CSP_YUYV422, 640, 360), 460800U);
    EXPECT_EQ(PictureSize(CSP_BGR24, 640, 360), 691200U);
    EXPECT_EQ(PictureSize(CSP_RGB24, 640, 360), 691200U);
    EXPECT_EQ(PictureSize(CSP_BGRA, 640, 360), 921600U);
}

TEST(PictureSize, HasNoRuleForOthers) {
    for (const unsigned int colorSpace : {0U, 3U, CSP_NV12, 128U, 0xffffffffU}) {
        EXPECT_EQ(PictureSize(colorSpace, 640, 360), 0U) << colorSpace;
    }
}

TEST(PictureSize, IsZeroWhereASideIs) {
    for (const unsigned int colorSpace : {CSP_YUV420P, CSP_YUYV422, CSP_RGB24, CSP_BGRA}) {
        EXPECT_EQ(PictureSize(colorSpace, 640, 0), 0U);
        EXPECT_EQ(PictureSize(colorSpace, 0, 360), 0U);
    }
}

TEST(PictureSize, RoundsChromaUpAsFfmpegDoes) {
    EXPECT_EQ(PictureSize(CSP_YUV420P, 33, 17), 33U * 17 + 2 * (17 * 9));
    for (int width = 1; width <= 70; ++width) {
        for (int height = 1; height <= 40; ++height) {
            ASSERT_EQ(PictureSize(CSP_YUV420P, static_cast<unsigned int>(width), static_cast<unsigned int>(height)),
                      static_cast<unsigned int>(av_image_get_buffer_size(AV_PIX_FMT_YUV420P, width, height, 1)))
                << width << "x" << height;
        }
    }
}

TEST(PictureSize, WrapsAt32Bits) {
    EXPECT_EQ(PictureSize(CSP_BGRA, 65536, 65536), 0U);
    EXPECT_EQ(PictureSize(CSP_BGRA, 65536, 16385), 262144U);
    EXPECT_EQ(PictureSize(CSP_YUV420P, 0xffffffffU, 1), 0xffffffffU);
}

}  // namespace
