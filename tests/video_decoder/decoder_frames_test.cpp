// The frames of a decoder's own pool.

#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "codrelay/media_ids.h"
#include "common/allocation_counter.h"
#include "front/registry/picture_size.h"
#include "video_decoder/pool_frames.h"
#include "video_decoder/video_decoder.h"

namespace {

std::unique_ptr<CVideoDecoder> OpenDecoder(unsigned int colorSpace, unsigned int width, unsigned int height) {
    auto decoder = std::make_unique<CVideoDecoder>(AV_CODEC_ID_MJPEG, "mjpeg", colorSpace, AV_PIX_FMT_NONE);
    EXPECT_EQ(decoder->CreateDecoder(colorSpace, width, height, nullptr), 1);
    return decoder;
}

TEST(DecoderFrames, AreAsLargeAsTheRuleSays) {
    for (const unsigned int colorSpace : {CSP_YUV420P_ALT, CSP_YUV420P, CSP_YUYV422, CSP_BGR24, CSP_RGB24, CSP_BGRA}) {
        const auto decoder = OpenDecoder(colorSpace, 33, 17);
        Frame frame;
        {
            AllocationCounter allocations;
            EXPECT_TRUE(decoder->GetFrameFromPool(frame));
            EXPECT_EQ(allocations.largest, PictureSize(colorSpace, 33, 17)) << colorSpace;
        }
        decoder->DestroyDecoder();
    }
}

TEST(DecoderFrames, AreNotThereWhereTheRuleHasNoSize) {
    const auto decoder = OpenDecoder(CSP_NV12, 32, 16);
    Frame frame;
    EXPECT_FALSE(decoder->GetFrameFromPool(frame));
    decoder->DestroyDecoder();
}

TEST(DecoderFrames, StayValidAfterDestroyDecoder) {
    const auto decoder = OpenDecoder(CSP_YUV420P, 32, 16);
    Frame frame;
    ASSERT_TRUE(decoder->GetFrameFromPool(frame));
    std::memset(frame->GetData(), 0x5a, PictureSize(CSP_YUV420P, 32, 16));
    decoder->DestroyDecoder();
    EXPECT_TRUE(IsFilledWith(*frame, PictureSize(CSP_YUV420P, 32, 16), 0x5a));
    Frame none;
    EXPECT_FALSE(decoder->GetFrameFromPool(none));
}

TEST(DecoderFrames, AreLetGoByFourThreadsWhileTheDecoderIsDeleted) {
    constexpr int kThreads = 4;
    const unsigned int size = PictureSize(CSP_YUV420P, 32, 16);
    for (int round = 0; round < 200; ++round) {
        auto decoder = OpenDecoder(CSP_YUV420P, 32, 16);
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            std::vector<Frame> frames(kBudget / kThreads);
            for (Frame& frame : frames) {
                ASSERT_TRUE(decoder->GetFrameFromPool(frame));
                std::memset(frame->GetData(), i, size);
            }
            threads.emplace_back([&ready, size, i, held = std::move(frames)]() mutable {
                ++ready;
                while (ready.load() <= kThreads) {
                    std::this_thread::yield();
                }
                for (Frame& frame : held) {
                    EXPECT_TRUE(IsFilledWith(*frame, size, static_cast<unsigned char>(i)));
                    frame.reset();
                }
            });
        }
        while (ready.load() < kThreads) {
            std::this_thread::yield();
        }
        ++ready;
        decoder->DestroyDecoder();
        decoder.release()->Delete();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}

}  // namespace
