#include <gmock/gmock.h>

#include "common/log_capture.h"
#include "common/peer.h"
#include "common/test_media.h"
#include "video_decoder/test_decoder.h"

using testing::ElementsAre;
using testing::StartsWith;
using uvqlog::Severity;

namespace {

struct Stream {
    const char* clip;
    DecoderCodec codec;
    unsigned int width;
    unsigned int height;
    std::size_t pictures;
    /// How many calls give nothing at the start, and pictures stay inside at the end.
    std::size_t delay;
    const char* peerOptions = "";
};

// The command of FFmpeg 7 crops where the decoders leave it alone.
constexpr const char* kUncropped = "-apply_cropping 0";

void PrintTo(const Stream& stream, std::ostream* out) {
    *out << stream.clip;
}

class DecodeOracle : public testing::TestWithParam<Stream> {};

// A picture at the number of the call that gave it.
TEST_P(DecodeOracle, EveryPictureIsBitIdenticalWithThePeers) {
    const Stream& stream = GetParam();
    const std::vector<PeerPicture> peer = PeerPictures(Clip(stream.clip), "", stream.peerOptions);
    std::vector<AccessUnit> units = AccessUnits(Clip(stream.clip));
    ASSERT_EQ(peer.size(), stream.pictures);
    ASSERT_EQ(units.size(), stream.pictures);

    LogCapture log;
    TestDecoder decoder(stream.codec);
    ASSERT_EQ(decoder.Create(stream.width, stream.height), 1);
    Frame frame;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const bool early = i < stream.delay;
        ASSERT_EQ(decoder.Decode(units[i], frame), early ? 3 : 0) << "call " << i;
        if (!early) {
            EXPECT_EQ(frame->m_nWidth, stream.width);
            EXPECT_EQ(frame->m_nHeight, stream.height);
            ASSERT_EQ(HashOf(*frame), peer[i - stream.delay].md5) << "call " << i;
        }
    }
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info, "CVideoDecoder::CreateDecoder: " + std::string(stream.codec.name) +
                                                       " width = " + std::to_string(stream.width) +
                                                       " height = " + std::to_string(stream.height))));
}

// How a host decodes that is not told the size. No stream comes close to this one, by which FFmpeg's decoders might
// crop a picture or take it for a field.
TEST_P(DecodeOracle, ADecoderOfAnUnlikelySizeFollowsTheStreamFromTheFirstPictureOn) {
    const Stream& stream = GetParam();
    const std::vector<PeerPicture> peer = PeerPictures(Clip(stream.clip), "", stream.peerOptions);
    std::vector<AccessUnit> units = AccessUnits(Clip(stream.clip));
    TestDecoder decoder(stream.codec);
    decoder->AllowResolutionChange();
    ASSERT_EQ(decoder.Create(8192, 1), 1);
    LogCapture log;
    Frame frame;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const bool early = i < stream.delay;
        ASSERT_EQ(decoder.Decode(units[i], frame), early ? 3 : 0) << "call " << i;
        if (!early) {
            EXPECT_EQ(frame->m_nWidth, stream.width);
            EXPECT_EQ(frame->m_nHeight, stream.height);
            ASSERT_EQ(HashOf(*frame), peer[i - stream.delay].md5) << "call " << i;
        }
    }
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info, "CVideoDecoder::Decode: resolution changed from 8192x1 to " +
                                                       std::to_string(stream.width) + "x" +
                                                       std::to_string(stream.height) + ", reiniting the pool")));
}

INSTANTIATE_TEST_SUITE_P(
    Clips, DecodeOracle,
    testing::Values(Stream{"h264_baseline.264", kH264, 320, 240, 50, 0},
                    Stream{"h264_reordered.264", kH264, 320, 240, 50, 2},
                    Stream{"h264_full_range.264", kH264, 320, 240, 50, 0},
                    Stream{"h264_left_crop_16.264", kH264, 320, 240, 50, 0, kUncropped},
                    Stream{"h264_left_crop_64.264", kH264, 256, 240, 50, 0},
                    Stream{"h264_interlaced.264", kH264, 320, 240, 50, 0},
                    Stream{"h264_854.264", kH264, 854, 480, 10, 0}, Stream{"h265.265", kH265, 320, 240, 50, 0},
                    Stream{"h265_reordered.265", kH265, 320, 240, 50, 2}, Stream{"mpeg4.avi", kMpeg4, 320, 240, 50, 0},
                    Stream{"mpeg4_reordered.avi", kMpeg4, 320, 240, 50, 1},
                    Stream{"mpeg4_odd.avi", kMpeg4, 33, 17, 25, 0}, Stream{"mjpeg.avi", kMjpeg, 320, 240, 50, 0},
                    Stream{"mjpeg_odd.avi", kMjpeg, 33, 17, 25, 0}, Stream{"flv1.flv", kFlv1, 320, 240, 50, 0},
                    Stream{"flv1_odd.flv", kFlv1, 33, 17, 25, 0}, Stream{"h263.avi", kH263, 352, 288, 50, 0}));

// The format of the pictures is whatever the stream has: the frame is cut for 4:2:0, and full range fits as well.
TEST(DecodeOracleAnyFormat, FullRangeIsCopiedAsItIs) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip("h264_full_range.264"));
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_full_range.264"));
    TestDecoder decoder(kH264, kAnyFormat);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    Frame frame;
    for (std::size_t i = 0; i < units.size(); ++i) {
        ASSERT_EQ(decoder.Decode(units[i], frame), 0);
        ASSERT_EQ(HashOf(*frame), peer[i].md5);
    }
}

}  // namespace
