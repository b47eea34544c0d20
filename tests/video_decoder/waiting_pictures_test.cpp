#include "video_decoder/waiting_pictures.h"

#include <gmock/gmock.h>

namespace {

struct FreePicture {
    void operator()(AVFrame* picture) const { av_frame_free(&picture); }
};
using Picture = std::unique_ptr<AVFrame, FreePicture>;

Picture PictureOfWidth(int width) {
    Picture picture(av_frame_alloc());
    if (picture != nullptr && width > 0) {
        picture->format = AV_PIX_FMT_YUV420P;
        picture->width = width;
        picture->height = 16;
        EXPECT_EQ(av_frame_get_buffer(picture.get(), 0), 0);
    }
    return picture;
}

TEST(WaitingPictures, ComeInTheirOrderOverWhatWasThere) {
    WaitingPictures waiting;
    for (const int width : {16, 32, 48}) {
        const Picture picture = PictureOfWidth(width);
        ASSERT_TRUE(waiting.Add(picture.get()));
        EXPECT_EQ(picture->buf[0], nullptr) << "taken over";
    }
    const Picture taken = PictureOfWidth(64);
    for (const int width : {16, 32, 48}) {
        ASSERT_TRUE(waiting.Take(taken.get()));
        EXPECT_EQ(taken->width, width);
        EXPECT_NE(taken->buf[0], nullptr);
    }
    EXPECT_FALSE(waiting.Take(taken.get()));
    EXPECT_EQ(taken->width, 48) << "nothing happens where none waits";
}

TEST(WaitingPictures, MayComeAndGoInTurns) {
    WaitingPictures waiting;
    const Picture picture = PictureOfWidth(0);
    for (int turn = 1; turn <= 100; ++turn) {
        ASSERT_TRUE(waiting.Add(PictureOfWidth(16 * turn).get()));
        ASSERT_TRUE(waiting.Take(picture.get()));
        EXPECT_EQ(picture->width, 16 * turn);
    }
}

TEST(WaitingPictures, ClearLetsThemGo) {
    WaitingPictures waiting;
    const Picture kept = PictureOfWidth(16);
    for (int i = 0; i < 2; ++i) {
        const Picture another(av_frame_clone(kept.get()));
        ASSERT_TRUE(waiting.Add(another.get()));
    }
    EXPECT_EQ(av_buffer_get_ref_count(kept->buf[0]), 3);
    waiting.Clear();
    EXPECT_EQ(av_buffer_get_ref_count(kept->buf[0]), 1);
    EXPECT_FALSE(waiting.Take(kept.get()));
}

}  // namespace
