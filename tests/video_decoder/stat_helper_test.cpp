#include "video_decoder/stat_helper.h"

#include <gmock/gmock.h>

#include <limits>
#include <memory>
#include <string>

#include "codrelay/media_ids.h"
#include "common/log_capture.h"
#include "video_decoder/clock_script.h"
#include "video_decoder/video_decoder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

LoggedLine DecoderLine(const std::string& rest) {
    return Ffmpeg(Severity::Info, "CVideoDecoder::StatHelper: fps: " + rest);
}

class StatHelperTest : public testing::Test {
protected:
    // A call that takes `durationMs` and ends at once.
    void Call(long long durationMs, bool counts = true, const char* owner = "CVideoDecoder") {
        StatHelper helper(owner, &m_nLastStatMs, &m_Stat);
        m_Clock.now += durationMs;
        helper.m_bCount = counts;
    }

    void ExpectReset() {
        EXPECT_EQ(m_Stat.m_nTotalMs, 0);
        EXPECT_EQ(m_Stat.m_nMaxMs, std::numeric_limits<long long>::min());
        EXPECT_EQ(m_Stat.m_nTriggered, 0);
        EXPECT_EQ(m_Stat.m_nCount, 0);
    }

    static constexpr long long kStart = 1600000000000;

    ClockScript m_Clock{kStart};
    LogCapture m_Log;
    long long m_nLastStatMs = kStart;
    CodecStat m_Stat;
};

TEST_F(StatHelperTest, AccountStartsEmpty) {
    ExpectReset();
    EXPECT_EQ(m_Stat.m_nTriggerMs, 30);
}

TEST_F(StatHelperTest, HelperStartsWithoutCounting) {
    const StatHelper helper("CVideoDecoder", &m_nLastStatMs, &m_Stat);
    EXPECT_FALSE(helper.m_bCount);
}

TEST_F(StatHelperTest, CountedCallsAddUp) {
    Call(5);
    Call(20);
    Call(10);
    EXPECT_EQ(m_Stat.m_nTotalMs, 35);
    EXPECT_EQ(m_Stat.m_nMaxMs, 20);
    EXPECT_EQ(m_Stat.m_nTriggered, 0);
    EXPECT_EQ(m_Stat.m_nCount, 3);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(StatHelperTest, CallsThatYieldNothingAreNotCounted) {
    Call(500, false);
    ExpectReset();
}

TEST_F(StatHelperTest, CallOf30MsIsNotSlowAndOf31MsIs) {
    Call(30);
    EXPECT_EQ(m_Stat.m_nTriggered, 0);
    Call(31);
    EXPECT_EQ(m_Stat.m_nTriggered, 1);
    EXPECT_EQ(m_Stat.m_nCount, 2);
}

TEST_F(StatHelperTest, ReadsTheClockTwiceACall) {
    Call(1);
    EXPECT_EQ(m_Clock.reads, 2);
}

TEST_F(StatHelperTest, PeriodOf19999MsPrintsNothingAndOf20000MsPrints) {
    m_Clock.now = kStart + 19990;
    Call(9);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_EQ(m_nLastStatMs, kStart);
    Call(1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(DecoderLine("0, t: av: 5, max: 9, trig: 0 in 2")));
    EXPECT_EQ(m_nLastStatMs, kStart + 20000);
    ExpectReset();
    EXPECT_EQ(m_Stat.m_nTriggerMs, 30);
}

TEST_F(StatHelperTest, ThresholdOutlivesThePeriod) {
    m_Stat.m_nTriggerMs = 5;
    Call(6);
    EXPECT_EQ(m_Stat.m_nTriggered, 1);
    m_Clock.now = kStart + 20000;
    Call(0);
    ExpectReset();
    Call(6);
    EXPECT_EQ(m_Stat.m_nTriggered, 1);
}

TEST_F(StatHelperTest, EmptyPeriodPrintsTheResetValueOfMax) {
    m_Clock.now = kStart + 20000;
    Call(0, false);
    EXPECT_THAT(m_Log.Take(), ElementsAre(DecoderLine("0, t: av: 0, max: -9223372036854775808, trig: 0 in 0")));
}

TEST_F(StatHelperTest, RateIsCutAndAverageIsNot) {
    for (int call = 0; call < 599; ++call) {
        Call(1 + call % 2);
    }
    m_Clock.now = kStart + 20000 - 40;
    Call(40);
    // 600 in 20 s are 30 a second, 599 are 29.95.
    EXPECT_THAT(m_Log.Take(), ElementsAre(DecoderLine("30, t: av: 1.56333, max: 40, trig: 1 in 600")));
    for (int call = 0; call < 599; ++call) {
        Call(2);
    }
    m_Clock.now = kStart + 40000;
    Call(0, false);
    EXPECT_THAT(m_Log.Take(), ElementsAre(DecoderLine("29, t: av: 2, max: 2, trig: 0 in 599")));
}

TEST_F(StatHelperTest, LargeAveragePrintsAsStreamsPrintIt) {
    Call(1234567);
    EXPECT_THAT(m_Log.Take(), ElementsAre(DecoderLine("0, t: av: 1.23457e+06, max: 1234567, trig: 1 in 1")));
}

TEST_F(StatHelperTest, PauseCountsInTheRate) {
    for (int call = 0; call < 100; ++call) {
        Call(1);
    }
    m_Clock.now = kStart + 1000000;
    Call(0);
    EXPECT_THAT(m_Log.Take(), ElementsAre(DecoderLine("0, t: av: 0.990099, max: 1, trig: 0 in 101")));
    EXPECT_EQ(m_nLastStatMs, kStart + 1000000);
}

TEST_F(StatHelperTest, ClockThatJumpsBackPrintsNothing) {
    m_Clock.now = kStart - 3600000;
    Call(-5);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_EQ(m_nLastStatMs, kStart);
    EXPECT_EQ(m_Stat.m_nTotalMs, -5);
    EXPECT_EQ(m_Stat.m_nMaxMs, -5);
}

TEST_F(StatHelperTest, NamesItsOwner) {
    Call(20000, true, "CVideoEncoder");
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Info,
                                                 "CVideoEncoder::StatHelper: fps: 0, t: av: 20000, max: "
                                                 "20000, trig: 1 in 1")));
}

TEST_F(StatHelperTest, ResetsWhereTheSeverityIsOff) {
    uvqlog::SetThreshold(Severity::Warning);
    Call(20000);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_EQ(m_nLastStatMs, kStart + 20000);
    ExpectReset();
}

TEST_F(StatHelperTest, ResetsWhereLoggingIsForbidden) {
    uvqlog::ForbidLogging(true);
    Call(20000);
    uvqlog::ForbidLogging(false);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_EQ(m_nLastStatMs, kStart + 20000);
    ExpectReset();
}

TEST_F(StatHelperTest, RunsOnAnExceptionToo) {
    const auto throwingCall = [this] {
        StatHelper helper("CVideoDecoder", &m_nLastStatMs, &m_Stat);
        m_Clock.now += 7;
        helper.m_bCount = true;
        throw std::string("out of here");
    };
    EXPECT_THROW(throwingCall(), std::string);
    EXPECT_EQ(m_Stat.m_nTotalMs, 7);
}

// In the decoder.

constexpr const char* kZeroLength = "CVideoDecoder::Decode: Zero input len!";

TEST(DecoderStatistics, PeriodStartsWithTheObjectAndAFailedCallEndsIt) {
    LogCapture log;
    ClockScript clock(5000);
    CVideoDecoder decoder(AV_CODEC_ID_MJPEG, "mjpeg", CSP_YUV420P, AV_PIX_FMT_YUVJ420P);
    std::shared_ptr<CFrameBufferBase> frame;

    clock.now = 24999;
    EXPECT_EQ(decoder.Decode(nullptr, 0, frame), 2);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, kZeroLength)));
    clock.now = 25000;
    EXPECT_EQ(decoder.Decode(nullptr, 0, frame), 2);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, kZeroLength),
                                        DecoderLine("0, t: av: 0, max: -9223372036854775808, trig: 0 in 0")));
}

}  // namespace
