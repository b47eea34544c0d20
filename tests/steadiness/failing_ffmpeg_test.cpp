// Every FFmpeg call that can fail fails once, wherever a life makes it: the object works again.

#include "steadiness/failing_ffmpeg.h"

#include <gtest/gtest.h>

#include <string>

#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "steadiness/failing_life.h"
#include "steadiness/failing_memory.h"
#include "steadiness/life.h"
#include "support/ffmpeg.h"
#include "uvqlog/control.h"

class FailingFfmpegTest : public testing::TestWithParam<LifeKind> {};

/// Leads a life in which that call fails, and another one. False once there are not so many calls.
bool LeadWithFailure(Subject* subject, const std::string& call, long nth) {
    failing_ffmpeg::Arm(call, nth);
    Lead(subject->life.get());
    const bool failed = failing_ffmpeg::Disarm();
    if (subject->life->IsBuilt()) {
        subject->life->Work();  // what a host may do before it gives up
    }
    DestroyIfBuilt(subject->life.get());
    EXPECT_EQ(LeadLife(subject->life.get()), subject->expected);
    EndLife(subject->life.get());
    return failed;
}

#ifdef CODRELAY_COUNTS_BLOCKS
long LiveBlocks() {
    return failing_memory::LiveBlocks();
}
#else
// A sanitizer's own allocator does not tell.
long LiveBlocks() {
    return 0;
}
#endif

TEST_P(FailingFfmpegTest, WhateverFailsTheObjectWorksAgain) {
    Subject subject(GetParam());
    ASSERT_TRUE(subject.expected.has_value());
    uvqlog::SetSink([](const uvqlog::LogEvent&) {});
    for (const std::string& call : failing_ffmpeg::AllCalls()) {
        bool failed = true;
        for (long nth = 1; failed; ++nth) {
            long lost = 1;
            for (int i = 0; lost > 0 && i < 4; ++i) {  // what is made once for all is made only once
                const long before = LiveBlocks();
                failed = LeadWithFailure(&subject, call, nth);
                lost = GetParam().leavesFfmpegBehind ? 0 : LiveBlocks() - before;
            }
            EXPECT_LE(lost, 0);
            ASSERT_FALSE(HasFailure()) << "after call " << nth << " of " << call;
        }
    }
    uvqlog::SetSink({});
}

std::string NameOfKind(const testing::TestParamInfo<LifeKind>& kind) {
    return kind.param.name;
}

INSTANTIATE_TEST_SUITE_P(Lives, FailingFfmpegTest, testing::ValuesIn(AllLifeKinds()), NameOfKind);

TEST(FailingFfmpeg, LengthOfAPictureThatHasNoneIsTheMarginBesideTheError) {
    CVideoEncoderBase* const encoder = Codrelay_VideoEncoder(VIDEO_CODEC_MPEG4, std::string());
    failing_ffmpeg::Arm("avpicture_get_size", 1);
    EXPECT_EQ(encoder->GetMaxOutFrameLength(176, 144), AVERROR(EIO) + 64);
    EXPECT_TRUE(failing_ffmpeg::Disarm());
    EXPECT_EQ(encoder->GetMaxOutFrameLength(176, 144), 176 * 144 * 3 / 2 + 64);
    encoder->Delete();
}
