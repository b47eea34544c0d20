#include <gmock/gmock.h>

#include <cstring>

#include "common/log_capture.h"
#include "common/peer.h"
#include "common/test_media.h"
#include "video_decoder/reference_scaler.h"
#include "video_decoder/test_decoder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

const LoggedLine kUsesTransform = Ffmpeg(Severity::Error, "decoder uses transform");

LoggedLine ArmedLine(const std::string& from, const std::string& to) {
    return Ffmpeg(Severity::Warning, "<DecoderCspTransform> CreateTransform: from: " + from + ", to: " + to);
}

std::string Params(int format, unsigned int width, unsigned int height) {
    return "fmt: " + std::to_string(format) + ", w: " + std::to_string(width) + ", h: " + std::to_string(height);
}

// What the transform makes of a stream is what the scaler makes of the pictures of the plain decoder.
class CopyOutTransformed : public testing::TestWithParam<DecoderFormat> {
protected:
    void ExpectScaledPictures(const char* clip, DecoderCodec codec, AVPixelFormat coded, unsigned int width,
                              unsigned int height) {
        std::vector<AccessUnit> units = AccessUnits(Clip(clip));
        TestDecoder plain(codec, kAnyFormat);
        TestDecoder decoder(codec, GetParam());
        ASSERT_EQ(plain.Create(width, height), 1);
        ASSERT_EQ(decoder.Create(width, height), 1);
        LogCapture log;
        Frame original;
        Frame frame;
        for (AccessUnit& unit : units) {
            ASSERT_EQ(plain.Decode(unit, original), 0);
            ASSERT_EQ(decoder.Decode(unit, frame), 0);
            const std::vector<uint8_t> expected =
                ScaleLikeFfmpeg(*PictureFrom(original->GetConstData(), coded, width, height), GetParam().format);
            ASSERT_EQ(expected.size(), PictureSize(GetParam().colorSpace, width, height));
            ASSERT_EQ(std::memcmp(frame->GetConstData(), expected.data(), expected.size()), 0);
            EXPECT_EQ(frame->m_nWidth, 0U);
            EXPECT_EQ(frame->m_nHeight, 0U);
        }
        EXPECT_THAT(log.Take(), ElementsAre(kUsesTransform, ArmedLine(Params(coded, width, height),
                                                                      Params(GetParam().format, width, height))));
    }
};

TEST_P(CopyOutTransformed, PicturesAreBitIdenticalWithTheScalers) {
    ExpectScaledPictures("h264_baseline.264", kH264, AV_PIX_FMT_YUV420P, 320, 240);
}

TEST_P(CopyOutTransformed, AWidthThatIsNoMultipleOf16HasAllItsColumns) {
    ExpectScaledPictures("h264_854.264", kH264, AV_PIX_FMT_YUV420P, 854, 480);
}

TEST_P(CopyOutTransformed, FullRangeIsAnotherFormatForTheTransform) {
    ExpectScaledPictures("mjpeg.avi", kMjpeg, AV_PIX_FMT_YUVJ420P, 320, 240);
}

INSTANTIATE_TEST_SUITE_P(Formats, CopyOutTransformed, testing::Values(kRgb24, kBgr24, kBgra, kYuyv));

TEST(CopyOut, OddSizesGoThroughTheTransform) {
    const LogCapture log;
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg_odd.avi"));
    for (const DecoderFormat& format : {kRgb24, kBgr24, kBgra}) {
        TestDecoder plain(kMjpeg);
        TestDecoder decoder(kMjpeg, format);
        ASSERT_EQ(plain.Create(33, 17), 1);
        ASSERT_EQ(decoder.Create(33, 17), 1);
        Frame original;
        Frame frame;
        for (AccessUnit& unit : units) {
            ASSERT_EQ(plain.Decode(unit, original), 0);
            ASSERT_EQ(decoder.Decode(unit, frame), 0);
            const std::vector<uint8_t> expected =
                ScaleLikeFfmpeg(*PictureFrom(original->GetConstData(), AV_PIX_FMT_YUVJ420P, 33, 17), format.format);
            ASSERT_EQ(std::memcmp(frame->GetConstData(), expected.data(), expected.size()), 0);
        }
    }
}

TEST(CopyOut, YuyvOfAnOddWidthNeedsMoreThanTheFrameHas) {
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg_odd.avi"));
    TestDecoder decoder(kMjpeg, kYuyv);
    ASSERT_EQ(decoder.Create(33, 17), 1);
    LogCapture log;
    Frame frame;
    const LoggedLine tooSmall =
        Ffmpeg(Severity::Critical, "<DecoderCspTransform> Transform: buffer size: 1122 is less than requered: 1156");
    EXPECT_EQ(decoder.Decode(units[0], frame), 2);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(kUsesTransform, ArmedLine(Params(AV_PIX_FMT_YUVJ420P, 33, 17), Params(AV_PIX_FMT_YUYV422, 33, 17)),
                    tooSmall));
    EXPECT_EQ(decoder.Decode(units[1], frame), 2);
    EXPECT_THAT(log.Take(), ElementsAre(tooSmall));
    EXPECT_EQ(frame, nullptr);
}

TEST(CopyOut, FullRangeFitsA420DecoderWithoutATransform) {
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_full_range.264"));
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    LogCapture log;
    Frame frame;
    EXPECT_EQ(decoder.Decode(units[0], frame), 0);
    EXPECT_EQ(frame->m_nWidth, 320U);
    EXPECT_EQ(frame->m_nHeight, 240U);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(CopyOut, A420StreamFitsAFullRangeDecoderWithoutATransform) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip("h264_baseline.264"));
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_baseline.264"));
    TestDecoder decoder(kH264, {CSP_YUV420P, AV_PIX_FMT_YUVJ420P});
    ASSERT_EQ(decoder.Create(320, 240), 1);
    LogCapture log;
    Frame frame;
    EXPECT_EQ(decoder.Decode(units[0], frame), 0);
    EXPECT_EQ(HashOf(*frame), peer[0].md5);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(CopyOut, A422PictureDoesNotFitAFrameOfAnyFormat) {
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_422.264"));
    TestDecoder decoder(kH264, kAnyFormat);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    LogCapture log;
    Frame frame;
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(decoder.Decode(units[i], frame), 2);
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "failed to copy frame: Invalid argument"),
                                            Ffmpeg(Severity::Critical,
                                                   "note that ffmpeg expects: 153600 bytes in the output buffer, "
                                                   "frame pool supplies 115200")));
    }
    EXPECT_EQ(frame, nullptr);
}

TEST(CopyOut, A422StreamGoesThroughTheTransformOfA420Decoder) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip("h264_422.264"), "-pix_fmt yuv420p -sws_flags lanczos");
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_422.264"));
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    LogCapture log;
    Frame frame;
    for (std::size_t i = 0; i < units.size(); ++i) {
        ASSERT_EQ(decoder.Decode(units[i], frame), 0);
        ASSERT_EQ(Md5Of(frame->GetConstData(), 115200), peer[i].md5);
        EXPECT_EQ(frame->m_nWidth, 0U);
        EXPECT_EQ(frame->m_nHeight, 0U);
    }
    EXPECT_THAT(log.Take(), ElementsAre(kUsesTransform, ArmedLine(Params(AV_PIX_FMT_YUV422P, 320, 240),
                                                                  Params(AV_PIX_FMT_YUV420P, 320, 240))));
}

TEST(CopyOut, AResolutionChangeMakesANewTransform) {
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_resized.264"));
    TestDecoder decoder(kH264, kRgb24);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    decoder->AllowResolutionChange();
    LogCapture log;
    Frame frame;
    for (std::size_t i = 0; i < 12; ++i) {
        ASSERT_EQ(decoder.Decode(units[i], frame), 0);
    }
    EXPECT_THAT(
        log.Take(),
        ElementsAre(kUsesTransform, ArmedLine(Params(AV_PIX_FMT_YUV420P, 320, 240), Params(AV_PIX_FMT_RGB24, 320, 240)),
                    Ffmpeg(Severity::Info,
                           "CVideoDecoder::Decode: resolution changed from 320x240 to 640x360, reiniting the pool"),
                    kUsesTransform,
                    ArmedLine(Params(AV_PIX_FMT_YUV420P, 640, 360), Params(AV_PIX_FMT_RGB24, 640, 360))));
}

TEST(CopyOut, TheTransformOutlivesTheCreation) {
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg.avi"));
    TestDecoder decoder(kMjpeg, kRgb24);
    LogCapture log(Severity::Warning);
    Frame frame;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(decoder.Create(320, 240), 1);
        ASSERT_EQ(decoder.Decode(units[0], frame), 0);
        decoder->DestroyDecoder();
    }
    EXPECT_THAT(log.Take(), ElementsAre(kUsesTransform, ArmedLine(Params(AV_PIX_FMT_YUVJ420P, 320, 240),
                                                                  Params(AV_PIX_FMT_RGB24, 320, 240))));
}

}  // namespace
