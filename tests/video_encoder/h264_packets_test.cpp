#include <algorithm>
#include <vector>

#include "common/log_capture.h"
#include "encoder_under_test.h"
#include "test_picture.h"
#include "video_encoder/x264_packet.h"

using testing::Each;
using testing::ElementsAre;
using testing::Gt;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kSlice = 1;
constexpr int kKeySlice = 5;
constexpr int kSequence = 7;
constexpr int kPicture = 8;

/// The packets of an encoder of H.264, whichever FFmpeg has: hosts that were written with OpenH264 take them apart.
class H264Packets : public testing::Test {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    Bytes Encode(EncoderUnderTest& encoder, unsigned int number, int askForKey) {
        TestPicture picture(encoder.m_nWidth, encoder.m_nHeight);
        PaintScene(picture, number);
        Bytes out(static_cast<std::size_t>(encoder.GetMaxOutFrameLength(encoder.m_nWidth, encoder.m_nHeight)));
        m_nKeyFrame = askForKey;
        const int size = encoder.Encode(&picture, out.data(), static_cast<unsigned int>(out.size()), &m_nKeyFrame);
        EXPECT_GT(size, 0) << "picture " << number;
        out.resize(static_cast<std::size_t>(std::max(size, 0)));
        return out;
    }

    /// The types of the NAL units, each of which must stand behind four bytes of start code.
    static std::vector<int> UnitTypes(const Bytes& packet) {
        const Bytes startCode = {0, 0, 1};
        std::vector<int> types;
        auto from = packet.begin();
        while ((from = std::search(from, packet.end(), startCode.begin(), startCode.end())) != packet.end()) {
            EXPECT_TRUE(from != packet.begin() && from[-1] == 0) << "a start code of three bytes";
            from += 3;
            types.push_back(*from & 31);
        }
        return types;
    }

    /// OpenH264 takes as many slices as there are processors, where the picture has room; x264 is told to take one.
    static std::vector<int> OneOfEach(std::vector<int> types) {
        types.erase(std::unique(types.begin(), types.end()), types.end());
        return types;
    }

    LogCapture m_Log;
    int m_nKeyFrame = 0;
};

TEST_F(H264Packets, HoldOnePictureEachBehindStartCodesOfFourBytesAndTheParametersBeforeEachKeyPicture) {
    EncoderUnderTest encoder(VIDEO_CODEC_H264);
    ASSERT_EQ(encoder.CreateEncoder(CSP_YUV420P, 352, 288, 25, 800000, 0, 1, 10), 1);
    for (unsigned int number = 0; number < 40; ++number) {
        const std::vector<int> types = UnitTypes(Encode(encoder, number, number == 14 ? 1 : 0));
        const bool key = number == 0 || number == 10 || number == 14 || number == 24 || number == 34;
        EXPECT_EQ(m_nKeyFrame == 1, key) << number;
        if (key) {
            EXPECT_THAT(OneOfEach(types), ElementsAre(kSequence, kPicture, kKeySlice)) << number;
        } else {
            EXPECT_THAT(types, Each(kSlice)) << number;
        }
    }
}

TEST_F(H264Packets, BeginWithTheBaselineProfileAndALevelThatFitsTheSize) {
    for (const auto& [width, height, level] : {std::tuple{176U, 144U, 30}, {640U, 480U, 30}, {1280U, 720U, 31}}) {
        EncoderUnderTest encoder(VIDEO_CODEC_H264);
        ASSERT_EQ(encoder.Create(width, height), 1);
        const Bytes packet = Encode(encoder, 0, 1);
        ASSERT_GT(packet.size(), 8U);
        EXPECT_EQ(packet[4], 0x67);
        EXPECT_EQ(packet[5], 66) << "baseline";
        EXPECT_EQ(packet[6] & 0xC0, 0xC0) << "constrained";
        EXPECT_LE(packet[7], level);
    }
}

TEST_F(H264Packets, OfTheSmallestPictureFitTheBufferThatIsAskedFor) {
    EncoderUnderTest encoder(VIDEO_CODEC_H264);
    ASSERT_EQ(encoder.Create(16, 16), 1);
    for (unsigned int number = 0; number < 5; ++number) {
        EXPECT_THAT(Encode(encoder, number, 0).size(), Gt(0U));
    }
}

/// What becomes of a packet of x264's.
Bytes AsOpenH264(Bytes packet) {
    AVPacket given{};
    given.data = packet.data();
    given.size = static_cast<int>(packet.size());
    const int size = CopyAsOpenH264(given, nullptr);
    Bytes out(static_cast<std::size_t>(size) + 1, 0xA5);
    EXPECT_EQ(CopyAsOpenH264(given, out.data()), size);
    EXPECT_EQ(out.back(), 0xA5);
    out.pop_back();
    return out;
}

TEST(X264Packet, GetsStartCodesOfFourBytes) {
    EXPECT_THAT(AsOpenH264({0, 0, 0, 1, 0x67, 1, 2, 0, 0, 1, 0x65, 3, 0, 0, 1, 0x65, 4}),
                ElementsAre(0, 0, 0, 1, 0x67, 1, 2, 0, 0, 0, 1, 0x65, 3, 0, 0, 0, 1, 0x65, 4));
}

TEST(X264Packet, LosesWhatTellsTheVersion) {
    EXPECT_THAT(AsOpenH264({0, 0, 0, 1, 0x68, 1, 0, 0, 1, 0x06, 5, 9, 9, 0x80, 0, 0, 1, 0x65, 3}),
                ElementsAre(0, 0, 0, 1, 0x68, 1, 0, 0, 0, 1, 0x65, 3));
    EXPECT_THAT(AsOpenH264({0, 0, 1, 0x41, 3, 0, 0, 0, 1, 0x06, 5}), ElementsAre(0, 0, 0, 1, 0x41, 3));
    EXPECT_THAT(AsOpenH264({0, 0, 1, 0x06, 5}), ElementsAre());
}

TEST(X264Packet, StaysAsItIsWhereNothingIsToBeDone) {
    const Bytes packet = {0, 0, 0, 1, 0x41, 1, 0, 0, 3, 1, 7, 0, 0, 0, 1, 0x41, 2};
    EXPECT_EQ(AsOpenH264(packet), packet);
    EXPECT_EQ(AsOpenH264({0, 0, 0, 1, 0x41}), (Bytes{0, 0, 0, 1, 0x41}));
    EXPECT_EQ(AsOpenH264({}), Bytes{});
}

}  // namespace
