#include "video_decoder/decoder_csp_transform.h"

#include <gmock/gmock.h>

#include <cstring>
#include <optional>
#include <random>
#include <sstream>

#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "video_decoder/reference_scaler.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {
std::optional<int> g_FailingFillPointers;
std::optional<int> g_OutputSize;
std::optional<int> g_FailingScale;
}  // namespace

extern "C" {
int __real_av_image_fill_pointers(uint8_t* data[4], AVPixelFormat format, int height, uint8_t* base,
                                  const int linesizes[4]);
int __wrap_av_image_fill_pointers(uint8_t* data[4], AVPixelFormat format, int height, uint8_t* base,
                                  const int linesizes[4]) {
    // The library asks without a base for the size alone.
    if (g_FailingFillPointers && base != nullptr) {
        return *g_FailingFillPointers;
    }
    if (g_OutputSize && base == nullptr) {
        return *g_OutputSize;
    }
    return __real_av_image_fill_pointers(data, format, height, base, linesizes);
}

int __real_sws_scale(SwsContext* scaler, const uint8_t* const planes[], const int linesizes[], int y, int height,
                     uint8_t* const toPlanes[], const int toLinesizes[]);
int __wrap_sws_scale(SwsContext* scaler, const uint8_t* const planes[], const int linesizes[], int y, int height,
                     uint8_t* const toPlanes[], const int toLinesizes[]) {
    return g_FailingScale ? *g_FailingScale
                          : __real_sws_scale(scaler, planes, linesizes, y, height, toPlanes, toLinesizes);
}
}

namespace {

constexpr std::size_t kRoom = 4096 * 2200 * 4;

LoggedLine Line(Severity severity, const std::string& text) {
    return Ffmpeg(severity, "<DecoderCspTransform> " + text);
}

std::string Text(const DecoderCspParams& params) {
    std::ostringstream text;
    text << params;
    return text.str();
}

LoggedLine Armed(const DecoderCspParams& from, const DecoderCspParams& to) {
    return Line(Severity::Warning, "CreateTransform: from: " + Text(from) + ", to: " + Text(to));
}

class Transform : public testing::Test {
protected:
    Transform() : m_Buffer(kRoom) {
        av_log_set_level(AV_LOG_QUIET);  // the scaler's own words
        g_FailingFillPointers.reset();
        g_OutputSize.reset();
        g_FailingScale.reset();
    }

    bool Convert(const AVFrame& from, const DecoderCspParams& to) {
        return m_Transform.Transform(&from, m_Buffer.Last(kRoom), kRoom, to);
    }

    const DecoderCspParams m_FromParams{AV_PIX_FMT_YUV420P, 32, 18};
    const DecoderCspParams m_ToParams{AV_PIX_FMT_RGB24, 32, 18};
    Picture m_From = NoisePicture(AV_PIX_FMT_YUV420P, 32, 18, 1);
    GuardedBuffer m_Buffer;
    LogCapture m_Log;
    DecoderCspTransform m_Transform;
};

TEST(TransformParams, ArePrintedAsNumbers) {
    EXPECT_EQ(Text({}), "fmt: -1, w: 0, h: 0");
    EXPECT_EQ(Text({AV_PIX_FMT_RGB24, 854, 480}), "fmt: 2, w: 854, h: 480");
    EXPECT_EQ(Text({7, -5, 2147483647}), "fmt: 7, w: -5, h: 2147483647");
}

TEST_F(Transform, NullArgumentsAreRefused) {
    EXPECT_FALSE(m_Transform.Transform(nullptr, m_Buffer.Last(kRoom), kRoom, m_ToParams));
    EXPECT_FALSE(m_Transform.Transform(m_From.get(), nullptr, kRoom, m_ToParams));
    const LoggedLine line = Line(Severity::Critical, "Transform: nullptr");
    EXPECT_THAT(m_Log.Take(), ElementsAre(line, line));
}

TEST_F(Transform, InvalidParametersAreRefusedOnEitherSide) {
    const DecoderCspParams invalid[] = {{-1, 32, 18}, {2, 0, 18}, {2, 32, 0}, {2, -1, 18}, {2, 32, -1}};
    for (const DecoderCspParams& params : invalid) {
        EXPECT_FALSE(Convert(*m_From, params));
        EXPECT_THAT(m_Log.Take(), ElementsAre(Line(Severity::Critical, "Transform: invalid params")));
        AVFrame source = *m_From;
        source.format = params.fmt;
        source.width = params.w;
        source.height = params.h;
        EXPECT_FALSE(Convert(source, m_ToParams));
        EXPECT_THAT(m_Log.Take(), ElementsAre(Line(Severity::Critical, "Transform: invalid params")));
    }
}

TEST_F(Transform, StaysArmedWhileNothingChanges) {
    EXPECT_TRUE(Convert(*m_From, m_ToParams));
    EXPECT_THAT(m_Log.Take(), ElementsAre(Armed(m_FromParams, m_ToParams)));
    EXPECT_TRUE(Convert(*m_From, m_ToParams));
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(Transform, ArmsItselfAnewForEachOfTheSixValues) {
    const auto expectArmed = [this](int format, int width, int height, const DecoderCspParams& to) {
        const Picture from = NoisePicture(static_cast<AVPixelFormat>(format), width, height, 2);
        EXPECT_TRUE(Convert(*from, to));
        EXPECT_THAT(m_Log.Take(), ElementsAre(Armed({format, width, height}, to)));
        EXPECT_TRUE(Convert(*from, to));
        EXPECT_THAT(m_Log.Take(), IsEmpty());
    };
    expectArmed(AV_PIX_FMT_YUV420P, 32, 18, {AV_PIX_FMT_RGB24, 32, 18});
    expectArmed(AV_PIX_FMT_YUV422P, 32, 18, {AV_PIX_FMT_RGB24, 32, 18});
    expectArmed(AV_PIX_FMT_YUV422P, 34, 18, {AV_PIX_FMT_RGB24, 32, 18});
    expectArmed(AV_PIX_FMT_YUV422P, 34, 20, {AV_PIX_FMT_RGB24, 32, 18});
    expectArmed(AV_PIX_FMT_YUV422P, 34, 20, {AV_PIX_FMT_BGR24, 32, 18});
    expectArmed(AV_PIX_FMT_YUV422P, 34, 20, {AV_PIX_FMT_BGR24, 33, 18});
    expectArmed(AV_PIX_FMT_YUV422P, 34, 20, {AV_PIX_FMT_BGR24, 33, 17});
}

TEST_F(Transform, ABufferThatIsTooSmallIsLeftAlone) {
    unsigned char* buffer = m_Buffer.Last(1727);
    std::memset(buffer, 0x5a, 1727);
    EXPECT_FALSE(m_Transform.Transform(m_From.get(), buffer, 1727, m_ToParams));
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Armed(m_FromParams, m_ToParams),
                            Line(Severity::Critical, "Transform: buffer size: 1727 is less than requered: 1728")));
    EXPECT_THAT(std::vector<int>(buffer, buffer + 1727), testing::Each(0x5a));
    // It stays armed, and a buffer that is just large enough will do.
    EXPECT_TRUE(m_Transform.Transform(m_From.get(), m_Buffer.Last(1728), 1728, m_ToParams));
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(Transform, AFormatWithoutRowsIsRefusedPictureByPicture) {
    for (const int format : {static_cast<int>(AV_PIX_FMT_VAAPI), 12345}) {
        const DecoderCspParams to{format, 32, 18};
        for (int i = 0; i < 2; ++i) {
            EXPECT_FALSE(Convert(*m_From, to));
            EXPECT_THAT(m_Log.Take(), ElementsAre(Armed(m_FromParams, to), Line(Severity::Critical,
                                                                                "CreateTransform: failed to fill "
                                                                                "linesizes")));
        }
    }
}

TEST_F(Transform, ASizeBeyondAllBoundsIsRefused) {
    const DecoderCspParams to{AV_PIX_FMT_BGRA, 30000, 30000};
    EXPECT_FALSE(Convert(*m_From, to));
    EXPECT_THAT(m_Log.Take(), ElementsAre(Armed(m_FromParams, to), Line(Severity::Critical,
                                                                        "CreateTransform: failed to get the output "
                                                                        "size")));
}

TEST_F(Transform, ASizeOfNoBytesIsRefused) {
    g_OutputSize = 0;
    EXPECT_FALSE(Convert(*m_From, m_ToParams));
    EXPECT_THAT(m_Log.Take(), ElementsAre(Armed(m_FromParams, m_ToParams),
                                          Line(Severity::Critical, "CreateTransform: failed to get the output size")));
}

TEST_F(Transform, AFormatThatTheScalerDoesNotWriteIsRefused) {
    const DecoderCspParams to{AV_PIX_FMT_PAL8, 32, 18};
    EXPECT_FALSE(Convert(*m_From, to));
    EXPECT_THAT(m_Log.Take(), ElementsAre(Armed(m_FromParams, to), Line(Severity::Critical,
                                                                        "CreateTransform: failed to get get new sws "
                                                                        "context")));
}

TEST_F(Transform, WorksAgainAfterARefusal) {
    EXPECT_TRUE(Convert(*m_From, m_ToParams));
    EXPECT_FALSE(Convert(*m_From, {AV_PIX_FMT_PAL8, 32, 18}));
    EXPECT_TRUE(Convert(*m_From, m_ToParams));
}

TEST_F(Transform, PointersThatCannotBeHadAreAFailure) {
    EXPECT_TRUE(Convert(*m_From, m_ToParams));
    m_Log.Take();
    g_FailingFillPointers = AVERROR(EINVAL);
    EXPECT_FALSE(Convert(*m_From, m_ToParams));
    EXPECT_THAT(m_Log.Take(), ElementsAre(Line(Severity::Critical, "Transform: failed to fill pointers")));
    g_FailingFillPointers.reset();
    EXPECT_TRUE(Convert(*m_From, m_ToParams));
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

// FFmpeg counts the bytes of a picture in an int, those between its rows included.
TEST_F(Transform, APictureTooLargeForItsPaddingIsRefused) {
    AVFrame from{};
    from.format = AV_PIX_FMT_YUV420P;
    from.width = 8947;
    from.height = 60000;
    const DecoderCspParams to{AV_PIX_FMT_BGRA, 8947, 60000};
    unsigned char byte = 0;
    EXPECT_FALSE(m_Transform.Transform(&from, &byte, 2147483647, to));
    EXPECT_THAT(m_Log.Take(), ElementsAre(Armed({AV_PIX_FMT_YUV420P, 8947, 60000}, to),
                                          Line(Severity::Critical, "Transform: failed to fill pointers")));
}

TEST_F(Transform, AScalerErrorIsAFailureAndLeavesTheBuffer) {
    for (const int width : {32, 33}) {
        const Picture from = NoisePicture(AV_PIX_FMT_YUV420P, width, 18, 1);
        const DecoderCspParams to{AV_PIX_FMT_RGB24, width, 18};
        EXPECT_TRUE(Convert(*from, to));
        m_Log.Take();
        const auto size = static_cast<std::size_t>(width) * 18 * 3;
        unsigned char* buffer = m_Buffer.Last(size);
        std::memset(buffer, 0x5a, size);
        g_FailingScale = AVERROR(EINVAL);
        EXPECT_FALSE(m_Transform.Transform(from.get(), buffer, size, to));
        EXPECT_THAT(m_Log.Take(), ElementsAre(Line(Severity::Critical, "Transform: sws_scale got error")));
        EXPECT_THAT(std::vector<int>(buffer, buffer + size), testing::Each(0x5a));
        g_FailingScale.reset();
        EXPECT_TRUE(Convert(*from, to));
        EXPECT_THAT(m_Log.Take(), IsEmpty());
    }
}

TEST_F(Transform, Every900thPictureIsTold) {
    for (int i = 1; i < 900; ++i) {
        ASSERT_TRUE(Convert(*m_From, m_ToParams));
    }
    m_Log.Take();
    const LoggedLine told = Line(Severity::Info, "Transform: scale from: fmt: 0, w: 32, h: 18");
    EXPECT_TRUE(Convert(*m_From, m_ToParams));
    EXPECT_THAT(m_Log.Take(), ElementsAre(told));

    // The count goes on across other formats; failures do not count.
    const DecoderCspParams other{AV_PIX_FMT_BGR24, 32, 18};
    EXPECT_FALSE(m_Transform.Transform(m_From.get(), m_Buffer.Last(1), 1, other));
    for (int i = 901; i < 1800; ++i) {
        ASSERT_TRUE(Convert(*m_From, other));
    }
    m_Log.Take();
    EXPECT_TRUE(Convert(*m_From, other));
    EXPECT_THAT(m_Log.Take(), ElementsAre(told));
}

// --- Bytes. Buffers are exactly as long as the picture and end where memory does.

class TransformBytes : public Transform {
protected:
    TransformBytes() { uvqlog::SetThreshold(Severity::Critical); }

    void ExpectScalersPicture(AVPixelFormat from, AVPixelFormat to, int width, int height) {
        SCOPED_TRACE(std::string(av_get_pix_fmt_name(from)) + " to " + av_get_pix_fmt_name(to) + " " +
                     std::to_string(width) + "x" + std::to_string(height));
        const Picture source = NoisePicture(from, width, height, static_cast<unsigned int>(width * 7 + height));
        const std::vector<uint8_t> expected = ScaleLikeFfmpeg(*source, to);
        ASSERT_FALSE(expected.empty());
        unsigned char* buffer = m_Buffer.Last(expected.size());
        std::memset(buffer, 0xcd, expected.size());
        ASSERT_TRUE(m_Transform.Transform(source.get(), buffer, expected.size(), {to, width, height}));
        ASSERT_EQ(std::memcmp(buffer, expected.data(), expected.size()), 0);
    }

    static constexpr AVPixelFormat kFrom[] = {AV_PIX_FMT_YUV420P,   AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV422P,
                                              AV_PIX_FMT_YUVJ422P,  AV_PIX_FMT_YUV444P,  AV_PIX_FMT_YUVJ444P,
                                              AV_PIX_FMT_YUV420P10, AV_PIX_FMT_GRAY8,    AV_PIX_FMT_GBRP};
    static constexpr AVPixelFormat kTo[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUYV422, AV_PIX_FMT_BGR24, AV_PIX_FMT_RGB24,
                                            AV_PIX_FMT_BGRA};
};

TEST_F(TransformBytes, EverySmallWidthIsBitIdenticalAndStaysInItsBuffer) {
    for (const AVPixelFormat from : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
        for (const AVPixelFormat to : kTo) {
            for (int width = 1; width <= 66; ++width) {
                ExpectScalersPicture(from, to, width, 1 + width % 7);
                ASSERT_FALSE(HasFatalFailure());
            }
        }
    }
}

// Multiples of 16 go straight into the buffer.
TEST_F(TransformBytes, WidthsWithoutPaddingAreBitIdenticalAndStayInTheirBuffers) {
    for (const AVPixelFormat from : kFrom) {
        for (const AVPixelFormat to : kTo) {
            for (int width = 16; width <= 192; width += 16) {
                ExpectScalersPicture(from, to, width, 1 + width / 16 % 6);
                ASSERT_FALSE(HasFatalFailure());
            }
        }
    }
}

TEST_F(TransformBytes, UsualSizesAreBitIdenticalAndStayInTheirBuffers) {
    const int sizes[][2] = {{176, 144}, {320, 240}, {426, 240}, {640, 360}, {854, 480}, {1366, 768}, {1920, 1080}};
    for (const auto& size : sizes) {
        for (const AVPixelFormat to : kTo) {
            ExpectScalersPicture(AV_PIX_FMT_YUV420P, to, size[0], size[1]);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_F(TransformBytes, ManySizesAndFormatsAreBitIdenticalAndStayInTheirBuffers) {
    constexpr unsigned int kSeed = 20231;
    std::mt19937 random(kSeed);
    const auto upTo = [&random](int most) { return 1 + static_cast<int>(random() % static_cast<unsigned int>(most)); };
    for (int i = 0; i < 4000; ++i) {
        const AVPixelFormat from = kFrom[random() % std::size(kFrom)];
        const AVPixelFormat to = kTo[random() % std::size(kTo)];
        ExpectScalersPicture(from, to, upTo(i % 4 == 0 ? 1400 : 160), upTo(40));
        ASSERT_FALSE(HasFatalFailure()) << "seed " << kSeed << ", round " << i;
    }
}

}  // namespace
