// Failures that cannot be had from outside, and what reaches the scaler.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <optional>

#include "common/log_capture.h"
#include "transform/pictures.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using uvqlog::Severity;

namespace {

/// The calls left until one fails; none does where it is not set.
std::optional<int> g_GoodLinesizes;
std::optional<int> g_GoodPointers;
bool g_NoContext = false;
/// The source widths of the scalers that were asked for.
std::vector<int> g_Contexts;
/// What sws_scale answers instead of scaling, call by call; it scales where there is no value.
std::deque<std::optional<int>> g_Scales;

struct ScaleCall {
    const uint8_t* from;
    int y;
    int rows;
    const uint8_t* to;
};
std::vector<ScaleCall> g_Calls;

bool Fails(std::optional<int>& good) {
    return good && (*good)-- <= 0;
}

}  // namespace

extern "C" {
int __real_av_image_fill_linesizes(int linesizes[4], AVPixelFormat format, int width);
int __wrap_av_image_fill_linesizes(int linesizes[4], AVPixelFormat format, int width) {
    return Fails(g_GoodLinesizes) ? AVERROR(EINVAL) : __real_av_image_fill_linesizes(linesizes, format, width);
}

int __real_av_image_fill_pointers(uint8_t* data[4], AVPixelFormat format, int height, uint8_t* base,
                                  const int linesizes[4]);
int __wrap_av_image_fill_pointers(uint8_t* data[4], AVPixelFormat format, int height, uint8_t* base,
                                  const int linesizes[4]) {
    return Fails(g_GoodPointers) ? AVERROR(EINVAL)
                                 : __real_av_image_fill_pointers(data, format, height, base, linesizes);
}

SwsContext* __real_sws_getContext(int srcWidth, int srcHeight, AVPixelFormat srcFormat, int dstWidth, int dstHeight,
                                  AVPixelFormat dstFormat, int flags, SwsFilter* srcFilter, SwsFilter* dstFilter,
                                  const double* param);
SwsContext* __wrap_sws_getContext(int srcWidth, int srcHeight, AVPixelFormat srcFormat, int dstWidth, int dstHeight,
                                  AVPixelFormat dstFormat, int flags, SwsFilter* srcFilter, SwsFilter* dstFilter,
                                  const double* param) {
    EXPECT_EQ(flags, 0x200);
    g_Contexts.push_back(srcWidth);
    return g_NoContext ? nullptr
                       : __real_sws_getContext(srcWidth, srcHeight, srcFormat, dstWidth, dstHeight, dstFormat, flags,
                                               srcFilter, dstFilter, param);
}

int __real_sws_scale(SwsContext* scaler, const uint8_t* const planes[], const int linesizes[], int y, int height,
                     uint8_t* const toPlanes[], const int toLinesizes[]);
int __wrap_sws_scale(SwsContext* scaler, const uint8_t* const planes[], const int linesizes[], int y, int height,
                     uint8_t* const toPlanes[], const int toLinesizes[]) {
    g_Calls.push_back({planes[0], y, height, toPlanes[0]});
    if (!g_Scales.empty()) {
        const std::optional<int> result = g_Scales.front();
        g_Scales.pop_front();
        if (result) {
            return *result;
        }
    }
    return __real_sws_scale(scaler, planes, linesizes, y, height, toPlanes, toLinesizes);
}
}

namespace {

constexpr Dimensions kSize{64, 48};

class TransformScript : public testing::Test {
protected:
    TransformScript() {
        g_GoodLinesizes.reset();
        g_GoodPointers.reset();
        g_NoContext = false;
        g_Scales.clear();
        g_Calls.clear();
    }

    void ExpectFailureOfNew(const std::string& text) {
        EXPECT_EQ(NewTransform(CSP_YUV420P, kSize, CSP_RGB24, kSize), nullptr);
        const std::vector<LoggedLine> lines = m_Log.Take();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[1], Ffmpeg(Severity::Critical, text));
    }

    void ExpectFailureOfTransform(CFfmpegVideoTransform& transform, std::int64_t timestamp, const std::string& text) {
        HostFrame frame(m_Source.data(), timestamp);
        EXPECT_EQ(transform.Transform(&frame), nullptr);
        EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Error, text)));
    }

    std::vector<uint8_t> m_Source = Noise(std::size_t{128} * 128 * 4, 1);
    LogCapture m_Log;
};

TEST_F(TransformScript, AScalerThatCannotBeHadIsAFailure) {
    g_NoContext = true;
    ExpectFailureOfNew("CFfmpegVideoTransform::New: failed");
}

// The very first one of a process fills tables that all share, so no other may be made meanwhile.
TEST_F(TransformScript, ASmallScalerIsMadeBeforeAllOthersAndOnlyOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process of its own
    const auto make = [] {
        NewTransform(CSP_YUV420P, kSize, CSP_RGB24, kSize);
        NewTransform(CSP_YUV420P, kSize, CSP_RGB24, kSize);
        std::exit(g_Contexts == std::vector<int>{16, 64, 64} ? 0 : 1);
    };
    EXPECT_EXIT(make(), testing::ExitedWithCode(0), "");
}

TEST_F(TransformScript, LineSizesThatCannotBeHadAreAFailureOfTheirSide) {
    g_GoodLinesizes = 0;
    ExpectFailureOfNew("CFfmpegVideoTransform::New: fill src line size failed");
    g_GoodLinesizes = 1;
    ExpectFailureOfNew("CFfmpegVideoTransform::Create: fill dst line size failed");
}

TEST_F(TransformScript, PointersThatCannotBeHadAreAFailureOfTheirSide) {
    const auto transform = NewTransform(CSP_YUV420P, kSize, CSP_RGB24, kSize);
    m_Log.Take();
    g_GoodPointers = 0;
    ExpectFailureOfTransform(*transform, 1, "CFfmpegVideoTransform::Transform: fill src pointers failed");
    g_GoodPointers = 1;
    ExpectFailureOfTransform(*transform, 2, "CFfmpegVideoTransform::Transform: fill dst pointers failed");
    EXPECT_THAT(g_Calls, IsEmpty());

    g_GoodPointers.reset();
    HostFrame frame(m_Source.data());
    EXPECT_NE(transform->Transform(&frame), nullptr);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(TransformScript, PaddingThatCannotBeLaidOutFailsFrameByFrame) {
    const auto expectFailure = [this] {
        const auto transform = NewTransform(CSP_RGB24, kSize, CSP_BGRA, {41, 41});
        g_GoodLinesizes.reset();
        g_GoodPointers.reset();
        ASSERT_NE(transform, nullptr);
        m_Log.Take();
        ExpectFailureOfTransform(*transform, 1, "CFfmpegVideoTransform::Transform:  sws_scale failed");
        EXPECT_THAT(g_Calls, IsEmpty());
    };
    // The first calls belong to the pictures themselves; then come the last rows, then the padded target.
    for (const int good : {2, 3}) {
        g_GoodLinesizes = good;
        expectFailure();
    }
    for (const int good : {1, 2, 3, 4}) {
        g_GoodPointers = good;
        expectFailure();
    }
}

TEST_F(TransformScript, APartThatCannotBeLaidOutIsNoPicture) {
    g_GoodLinesizes = 0;
    const auto transform = NewTransform(CSP_RGB24, kSize, {8, 8, 32, 24}, CSP_RGB24, {32, 24});
    g_GoodLinesizes.reset();
    ASSERT_NE(transform, nullptr);
    m_Log.Take();
    HostFrame frame(m_Source.data());
    EXPECT_EQ(transform->Transform(&frame), nullptr);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(TransformScript, AFailingScalerIsToldAndTheNextFrameTriedAsUsual) {
    const std::vector<uint8_t> expected = ScaleLikeFfmpeg(CSP_YUV420P, kSize, m_Source.data(), CSP_RGB24, kSize);
    const auto transform = NewTransform(CSP_YUV420P, kSize, CSP_RGB24, kSize);
    m_Log.Take();
    HostFrame good(m_Source.data(), 1);
    CFrameBufferBase* picture = transform->Transform(&good);
    ASSERT_NE(picture, nullptr);
    // The picture comes in two slices, of which either may fail.
    for (const auto& results : {std::deque<std::optional<int>>{-1}, {std::nullopt, -1}}) {
        g_Scales = results;
        ExpectFailureOfTransform(*transform, 7, "CFfmpegVideoTransform::Transform:  sws_scale failed");
        EXPECT_EQ(picture->m_nTimestamp, 7);
        EXPECT_TRUE(g_Scales.empty());
        EXPECT_EQ(transform->Transform(&good), picture);
        EXPECT_EQ(picture->m_nTimestamp, 1);
        EXPECT_EQ(BytesOf(*transform, *picture), expected);
    }
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(TransformScript, AFailingScalerLeavesAPictureOfPaddedRowsAsItWas) {
    const auto transform = NewTransform(CSP_YUV420P, kSize, CSP_RGB24, {41, 41});
    HostFrame frame(m_Source.data());
    CFrameBufferBase* picture = transform->Transform(&frame);
    const std::vector<uint8_t> before = BytesOf(*transform, *picture);
    m_Log.Take();
    std::reverse(m_Source.begin(), m_Source.end());
    g_Scales = {-22};
    ExpectFailureOfTransform(*transform, 2, "CFfmpegVideoTransform::Transform:  sws_scale failed");
    EXPECT_EQ(BytesOf(*transform, *picture), before);
}

TEST_F(TransformScript, NoRowsFromTheScalerAreASuccess) {
    const auto transform = NewTransform(CSP_YUV420P, kSize, CSP_RGB24, kSize);
    m_Log.Take();
    g_Scales = {0, 0};
    HostFrame frame(m_Source.data());
    EXPECT_NE(transform->Transform(&frame), nullptr);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

// --- Where the bytes are taken from and put.

class TransformCalls : public TransformScript {
protected:
    /// The scaler's calls for one frame.
    std::vector<ScaleCall> CallsFor(unsigned int from, Dimensions in, unsigned int to, Dimensions out) {
        const auto transform = NewTransform(from, in, to, out);
        HostFrame frame(m_Source.data());
        g_Calls.clear();
        m_pPicture = transform->Transform(&frame)->GetData();
        m_pTransform = transform;
        return g_Calls;
    }

    const uint8_t* m_pPicture = nullptr;
    std::shared_ptr<CVideoTransformBase> m_pTransform;
};

TEST_F(TransformCalls, OnlyTheLastRowsAreCopiedBeforeTheyAreRead) {
    const std::vector<ScaleCall> calls = CallsFor(CSP_RGB24, kSize, CSP_YUV420P, {32, 32});
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(calls[0].from, m_Source.data());
    EXPECT_EQ(calls[0].y, 0);
    EXPECT_EQ(calls[0].rows, 46);
    EXPECT_EQ(calls[0].to, m_pPicture);
    EXPECT_EQ(calls[1].y, 46);
    EXPECT_EQ(calls[1].rows, 2);
    EXPECT_EQ(calls[1].to, m_pPicture);
}

TEST_F(TransformCalls, BGRToPlanesIsReadAndWrittenInPlace) {
    const std::vector<ScaleCall> calls = CallsFor(CSP_BGR24, kSize, CSP_YUV420P, kSize);
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].from, m_Source.data());
    EXPECT_EQ(calls[0].rows, 48);
    EXPECT_EQ(calls[0].to, m_pPicture);
}

TEST_F(TransformCalls, PicturesThatMayNotComeInSlicesAreCopiedAndScaledInOneGo) {
    const auto expectCopied = [this](unsigned int from, Dimensions in, unsigned int to, Dimensions out) {
        const std::vector<ScaleCall> calls = CallsFor(from, in, to, out);
        ASSERT_THAT(calls, SizeIs(1));
        EXPECT_NE(calls[0].from, m_Source.data());
        EXPECT_EQ(calls[0].rows, in.height);
    };
    expectCopied(CSP_RGB24, {63, 48}, CSP_YUV420P, {32, 32});
    expectCopied(CSP_RGB24, {8, 128}, CSP_YUV420P, {16, 8});
    expectCopied(CSP_RGB24, {128, 8}, CSP_YUV420P, {8, 16});
    expectCopied(CSP_RGB24, {64, 2}, CSP_YUV420P, {16, 8});
}

TEST_F(TransformCalls, OnlyRowsThatAreUnsafeToWriteComeFromAPaddedPicture) {
    const auto writesInPlace = [this](unsigned int from, Dimensions in, unsigned int to, Dimensions out) {
        const std::vector<ScaleCall> calls = CallsFor(from, in, to, out);
        EXPECT_THAT(calls, SizeIs(2));
        return calls.front().to == m_pPicture && calls.back().to == m_pPicture;
    };
    EXPECT_TRUE(writesInPlace(CSP_NV12, {64, 48}, CSP_YUV420P, {64, 48}));
    EXPECT_FALSE(writesInPlace(CSP_NV12, {48, 48}, CSP_YUV420P, {48, 48}));
    EXPECT_TRUE(writesInPlace(CSP_NV12, {48, 48}, CSP_RGB24, {48, 48}));
    EXPECT_TRUE(writesInPlace(CSP_NV12, {48, 48}, CSP_YUV420P, {40, 48}));

    EXPECT_TRUE(writesInPlace(CSP_YUV420P, {48, 48}, CSP_BGRA, {48, 48}));
    EXPECT_FALSE(writesInPlace(CSP_YUV420P, {40, 48}, CSP_BGRA, {40, 48}));
    EXPECT_TRUE(writesInPlace(CSP_YUV420P, {40, 48}, CSP_NV12, {40, 48}));
    EXPECT_TRUE(writesInPlace(CSP_YUV420P, {48, 48}, CSP_BGRA, {40, 48}));

    EXPECT_TRUE(writesInPlace(CSP_RGB24, kSize, CSP_YUV420P, {18, 32}));
    EXPECT_FALSE(writesInPlace(CSP_RGB24, kSize, CSP_YUV420P, {14, 32}));
    EXPECT_FALSE(writesInPlace(CSP_RGB24, kSize, CSP_YUV420P, {33, 32}));
}

}  // namespace
