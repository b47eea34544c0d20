#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "video_decoder/clock_script.h"
#include "video_decoder/opening_script.h"
#include "video_decoder/video_decoder_lifecycle_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

TEST_F(VideoDecoderLifecycle, OpensAndClosesUnderTheLibraryLock) {
    OpeningScript script;
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_THAT(script.calls, ElementsAre("alloc_context", "open", "frame_alloc"));
    EXPECT_THAT(script.lockHeld, ElementsAre(true, true, true));
    script.calls.clear();
    script.lockHeld.clear();
    m_Decoder->DestroyDecoder();
    EXPECT_THAT(script.calls, ElementsAre("close", "frame_free"));
    EXPECT_THAT(script.lockHeld, ElementsAre(true, true));
    EXPECT_FALSE(LibraryLockIsHeldElsewhere());
}

TEST_F(VideoDecoderLifecycle, DestroyWithoutTheLockLeavesItToTheCaller) {
    OpeningScript script;
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    script.lockHeld.clear();
    m_Decoder->Destroy(0);
    EXPECT_THAT(script.lockHeld, ElementsAre(false, false));
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    script.lockHeld.clear();
    m_Decoder->Destroy(7);
    EXPECT_THAT(script.lockHeld, ElementsAre(true, true));
}

// A decoder that was open before must not be closed a second time.
TEST_F(VideoDecoderLifecycle, FailureAfterADestroyClosesNothing) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    m_Decoder->DestroyDecoder();
    OpeningScript script;
    script.openResult = -1;
    EXPECT_EQ(m_Decoder.Create(320, 240), 0);
    EXPECT_THAT(script.calls, testing::Not(testing::Contains("close")));
}

TEST_F(VideoDecoderLifecycle, DestroyIsSafeAtAnyTime) {
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    m_Decoder->DestroyDecoder();
    m_Decoder->DestroyDecoder();
    m_Log.Take();
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
}

TEST_F(VideoDecoderLifecycle, CanBeCreatedAnewWithAnotherSize) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    ASSERT_EQ(DecodeOne(), 0);
    const Frame old = m_Frame;
    const std::string hash = HashOf(*old);
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(33, 17), 1);
    std::vector<AccessUnit> odd = AccessUnits(Clip("mjpeg_odd.avi"));
    EXPECT_EQ(m_Decoder.Decode(odd[0], m_Frame), 0);
    EXPECT_EQ(m_Frame->m_nWidth, 33U);
    EXPECT_EQ(m_Frame->m_nHeight, 17U);
    EXPECT_EQ(HashOf(*old), hash);
}

TEST_F(VideoDecoderLifecycle, CanBeCreatedAnewWithALargerSize) {
    std::vector<AccessUnit> odd = AccessUnits(Clip("mjpeg_odd.avi"));
    ASSERT_EQ(m_Decoder.Create(33, 17), 1);
    ASSERT_EQ(m_Decoder.Decode(odd[0], m_Frame), 0);
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(DecodeOne(), 0);
    EXPECT_EQ(m_Frame->m_nWidth, 320U);
}

TEST_F(VideoDecoderLifecycle, CreateForgetsTheLastTimestamp) {
    constexpr unsigned int kLimit = 29;  // 33 ms between pictures
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    ASSERT_EQ(m_Decoder.Decode(m_Units[0], m_Frame, 100000, kLimit), 0);
    ASSERT_EQ(m_Decoder.Decode(m_Units[1], m_Frame, 40, kLimit), 3);
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(m_Decoder.Decode(m_Units[0], m_Frame, 32, kLimit), 3);
    EXPECT_EQ(m_Decoder.Decode(m_Units[1], m_Frame, 33, kLimit), 0);
}

TEST_F(VideoDecoderLifecycle, AllowedResolutionChangeStaysAllowed) {
    EXPECT_TRUE(m_Decoder->AllowResolutionChange());
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(m_Decoder.Create(64, 64), 1);
        EXPECT_EQ(DecodeOne(), 0);
        EXPECT_EQ(m_Frame->m_nWidth, 320U);
        m_Decoder->DestroyDecoder();
    }
}

TEST_F(VideoDecoderLifecycle, ResolutionChangeIsForbiddenAtFirst) {
    ASSERT_EQ(m_Decoder.Create(64, 64), 1);
    EXPECT_EQ(DecodeOne(), 5);
    EXPECT_TRUE(m_Decoder->AllowResolutionChange());
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, ResolutionHasChangedComparesWithTheLastPicture) {
    EXPECT_FALSE(m_Decoder->ResolutionHasChanged());
    ASSERT_EQ(m_Decoder.Create(0, 0), 1);
    EXPECT_FALSE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 0), 1);
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(0, 240), 1);
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    ASSERT_EQ(DecodeOne(), 0);
    // FFmpeg has emptied its picture on the attempt to get another.
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
}

TEST_F(VideoDecoderLifecycle, InitFramePoolChangesNothingWhileItServes) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    std::vector<Frame> frames(8);
    for (Frame& frame : frames) {
        ASSERT_TRUE(m_Decoder->GetFrameFromPool(frame));
    }
    m_Decoder->InitFramePool(nullptr);
    EXPECT_FALSE(m_Decoder->GetFrameFromPool(m_Frame));
}

struct Refusal : CFrameBufferStreamCallback {
    bool WaitForFreeFrame() override {
        ++calls;
        return false;
    }
    int calls = 0;
};

TEST_F(VideoDecoderLifecycle, CallbackOfCreateServesThePool) {
    Refusal refusal;
    ASSERT_EQ(m_Decoder.Create(320, 240, &refusal), 1);
    std::vector<Frame> held(8);
    for (Frame& frame : held) {
        ASSERT_EQ(m_Decoder.Decode(m_Units[0], frame), 0);
    }
    m_Log.Take();
    EXPECT_EQ(DecodeOne(), 4);
    EXPECT_EQ(refusal.calls, 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kOutOfFrames));
    held.pop_back();
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, CallbackOfCreateServesThePoolOfAnotherSizeToo) {
    Refusal refusal;
    m_Decoder->AllowResolutionChange();
    ASSERT_EQ(m_Decoder.Create(64, 64, &refusal), 1);
    std::vector<Frame> held(8);
    for (Frame& frame : held) {
        ASSERT_EQ(m_Decoder.Decode(m_Units[0], frame), 0);
    }
    EXPECT_EQ(refusal.calls, 0);
    EXPECT_EQ(DecodeOne(), 4);
    EXPECT_EQ(refusal.calls, 1);
}

TEST_F(VideoDecoderLifecycle, DeleteLeavesPicturesValid) {
    CVideoDecoderBase* decoder = new CVideoDecoder(AV_CODEC_ID_MJPEG, "mjpeg", CSP_YUV420P, AV_PIX_FMT_YUVJ420P);
    ASSERT_EQ(decoder->CreateDecoder(CSP_YUV420P, 320, 240, nullptr), 1);
    ASSERT_EQ(decoder->Decode(m_Units[0].data(), static_cast<int>(m_Units[0].size()), m_Frame), 0);
    const std::string hash = HashOf(*m_Frame);
    decoder->DestroyDecoder();
    decoder->Delete();
    EXPECT_EQ(HashOf(*m_Frame), hash);
}

TEST_F(VideoDecoderLifecycle, StatisticsSurviveDestroyAndCreate) {
    ClockScript clock(0);
    TestDecoder decoder(kMjpeg, kJpeg420);
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(decoder.Create(320, 240), 1);
        EXPECT_EQ(decoder.Decode(m_Units[0], m_Frame), 0);
        decoder->DestroyDecoder();
    }
    m_Log.Take();
    clock.now = 20000;
    EXPECT_EQ(decoder.Decode(m_Units[0], m_Frame), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst, Ffmpeg(Severity::Info,
                                                               "CVideoDecoder::StatHelper: fps: 0, t: av: 0, max: 0, "
                                                               "trig: 0 in 2")));
}

}  // namespace
