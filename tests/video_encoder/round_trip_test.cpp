#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "codrelay/codrelay.h"
#include "common/process.h"
#include "test_picture.h"

namespace {

constexpr unsigned int kWidth = 352;
constexpr unsigned int kHeight = 288;
constexpr int kPictures = 300;
constexpr unsigned int kFrameRate = 25;
constexpr unsigned int kBitRate = 800000;
constexpr int kAskedKey = 130;

using Bytes = std::vector<unsigned char>;

struct Packet {
    Bytes bytes;
    bool key;
};

/// One codec on its way there and back. The floors stand 1 dB below what was measured, in decibels.
struct RoundTrip {
    int id;
    const char* name;
    /// The peer's name of the raw stream.
    const char* format;
    /// Over all pictures, and of the worst one.
    double psnrFloor, worstFloor;
    std::vector<int> keys;
};

void PrintTo(const RoundTrip& trip, std::ostream* out) {
    *out << trip.name;
}

std::vector<int> AllPictures() {
    std::vector<int> all(kPictures);
    for (int i = 0; i < kPictures; ++i) {
        all[static_cast<std::size_t>(i)] = i;
    }
    return all;
}

struct EncoderDeleter {
    void operator()(CVideoEncoderBase* encoder) const {
        encoder->DestroyEncoder();
        encoder->Delete();
    }
};
using Encoder = std::unique_ptr<CVideoEncoderBase, EncoderDeleter>;

struct DecoderDeleter {
    void operator()(CVideoDecoderBase* decoder) const {
        decoder->DestroyDecoder();
        decoder->Delete();
    }
};
using Decoder = std::unique_ptr<CVideoDecoderBase, DecoderDeleter>;

/// Encodes picture `number` of the scene at the given size.
Packet EncodeScene(CVideoEncoderBase& encoder, unsigned int width, unsigned int height, int number, int keyFrame) {
    TestPicture picture(width, height);
    PaintScene(picture, static_cast<unsigned int>(number));
    Packet packet;
    packet.bytes.resize(static_cast<std::size_t>(encoder.GetMaxOutFrameLength(width, height)));
    const int bytes =
        encoder.Encode(&picture, packet.bytes.data(), static_cast<unsigned int>(packet.bytes.size()), &keyFrame);
    EXPECT_GT(bytes, 0) << "picture " << number;
    packet.bytes.resize(static_cast<std::size_t>(std::max(bytes, 0)));
    packet.key = keyFrame == 1;
    return packet;
}

std::vector<Packet> EncodeAll(int id, unsigned int bitRate) {
    const Encoder encoder(Codrelay_VideoEncoder(id, ""));
    EXPECT_EQ(encoder->CreateEncoder(CSP_YUV420P, kWidth, kHeight, kFrameRate, bitRate, 0, 1, 50), 1);
    std::vector<Packet> packets;
    for (int number = 0; number < kPictures; ++number) {
        packets.push_back(EncodeScene(*encoder, kWidth, kHeight, number, number == kAskedKey ? 1 : 0));
    }
    return packets;
}

/// Gathers how far decoded pictures are from the scene.
class Quality {
public:
    void Add(const unsigned char* decoded) {
        TestPicture original(kWidth, kHeight);
        PaintScene(original, static_cast<unsigned int>(m_nPictures++));
        const std::size_t size = original.Bytes().size();
        const double error = SquaredError(original.GetData(), decoded, size);
        m_dError += error;
        m_dSamples += static_cast<double>(size);
        m_dWorst = std::min(m_dWorst, Psnr(error, static_cast<double>(size)));
    }

    int Pictures() const { return m_nPictures; }
    double Mean() const { return Psnr(m_dError, m_dSamples); }
    double Worst() const { return m_dWorst; }

private:
    int m_nPictures = 0;
    double m_dError = 0;
    double m_dSamples = 0;
    double m_dWorst = 1000;
};

void PutBigEndian(Bytes& out, std::uint32_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        out.push_back(static_cast<unsigned char>(value >> shift));
    }
}

/// FLV1 has no raw form, so its packets go into an FLV file: a header, then each packet with a tag before and the tag's
/// length behind.
Bytes FlvFile(const std::vector<Packet>& packets) {
    Bytes out{'F', 'L', 'V', 1, 1, 0, 0, 0, 9, 0, 0, 0, 0};
    std::uint32_t time = 0;
    for (const Packet& packet : packets) {
        const auto length = static_cast<std::uint32_t>(packet.bytes.size()) + 1;
        out.push_back(9);
        PutBigEndian(out, length, 3);
        PutBigEndian(out, time, 3);
        PutBigEndian(out, 0, 4);
        out.push_back(packet.key ? 0x12 : 0x22);
        out.insert(out.end(), packet.bytes.begin(), packet.bytes.end());
        PutBigEndian(out, length + 11, 4);
        time += 1000 / kFrameRate;
    }
    return out;
}

Bytes RawStream(const std::vector<Packet>& packets) {
    Bytes out;
    for (const Packet& packet : packets) {
        out.insert(out.end(), packet.bytes.begin(), packet.bytes.end());
    }
    return out;
}

/// The packets in a form that the peer reads.
Bytes StreamOf(int id, const std::vector<Packet>& packets) {
    return id == VIDEO_CODEC_FLV ? FlvFile(packets) : RawStream(packets);
}

std::string AsText(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// All pictures of a stream, one after the other.
std::string DecodedByThePeer(const std::string& format, const Bytes& stream) {
    const ProcessResult decoded = RunCommand(
        "ffmpeg -nostdin -v error -xerror -f " + format + " -i pipe:0 -fps_mode passthrough -f rawvideo pipe:1",
        AsText(stream));
    EXPECT_EQ(decoded.exitCode, 0);
    EXPECT_EQ(decoded.err, "");
    return decoded.out;
}

class EncodedStream : public testing::TestWithParam<RoundTrip> {
protected:
    void SetUp() override {
        SetFfmpegLogLevel("quiet");
        m_Packets = EncodeAll(GetParam().id, kBitRate);
        ASSERT_EQ(m_Packets.size(), static_cast<std::size_t>(kPictures));
    }

    void ExpectGoodPictures(const Quality& quality) const {
        EXPECT_EQ(quality.Pictures(), kPictures);
        EXPECT_GE(quality.Mean(), GetParam().psnrFloor);
        EXPECT_GE(quality.Worst(), GetParam().worstFloor);
        RecordProperty("psnr", std::to_string(quality.Mean()));
        RecordProperty("worst", std::to_string(quality.Worst()));
    }

    std::vector<Packet> m_Packets;
};

const std::vector<int> kEveryFiftiethAndAsked = {0, 50, 100, kAskedKey, 180, 230, 280};

INSTANTIATE_TEST_SUITE_P(
    All, EncodedStream,
    testing::Values(RoundTrip{VIDEO_CODEC_FLV, "flv", "flv", 40.5, 38.3, kEveryFiftiethAndAsked},
                    RoundTrip{VIDEO_CODEC_MPEG4, "mpeg4", "m4v", 40.5, 38.9, kEveryFiftiethAndAsked},
                    RoundTrip{VIDEO_CODEC_H263, "h263", "h263", 40.3, 37.7, kEveryFiftiethAndAsked},
                    RoundTrip{VIDEO_CODEC_MJPEG, "mjpeg", "mjpeg", 44.8, 44.6, AllPictures()},
                    RoundTrip{VIDEO_CODEC_H264, "h264", "h264", 41.6, 39.8, kEveryFiftiethAndAsked}),
    [](const auto& test) { return test.param.name; });

TEST_P(EncodedStream, IsDecodedByTheLibrary) {
    const Decoder decoder(NewFFmpegVideoDecoder(GetParam().id, CSP_YUV420P, ""));
    ASSERT_EQ(decoder->CreateDecoder(CSP_YUV420P, kWidth, kHeight, nullptr), 1);
    Quality quality;
    for (Packet& packet : m_Packets) {
        std::shared_ptr<CFrameBufferBase> frame;
        ASSERT_EQ(decoder->Decode(packet.bytes.data(), static_cast<int>(packet.bytes.size()), frame), 0);
        quality.Add(frame->GetConstData());
    }
    ExpectGoodPictures(quality);
}

TEST_P(EncodedStream, IsDecodedByThePeer) {
    const std::string pictures = DecodedByThePeer(GetParam().format, StreamOf(GetParam().id, m_Packets));
    const std::size_t pictureSize = TestPicture(kWidth, kHeight).Bytes().size();
    ASSERT_EQ(pictures.size(), kPictures * pictureSize);
    Quality quality;
    for (std::size_t at = 0; at < pictures.size(); at += pictureSize) {
        quality.Add(reinterpret_cast<const unsigned char*>(pictures.data()) + at);
    }
    ExpectGoodPictures(quality);
}

TEST_P(EncodedStream, HasItsKeyPicturesWhereThePacketsSaySo) {
    const ProcessResult result = RunCommand(
        std::string("ffprobe -v error -f ") + GetParam().format + " -show_entries frame=pict_type -of csv=p=0 pipe:0",
        AsText(StreamOf(GetParam().id, m_Packets)));
    ASSERT_EQ(result.err, "");
    std::string types;
    std::copy_if(result.out.begin(), result.out.end(), std::back_inserter(types),
                 [](char c) { return c == 'I' || c == 'P' || c == 'B'; });
    std::string expected;
    for (const Packet& packet : m_Packets) {
        expected += packet.key ? 'I' : 'P';
    }
    EXPECT_EQ(types, expected);
}

TEST_P(EncodedStream, HasItsKeyPicturesWhereTheyAreAskedFor) {
    std::vector<int> keys;
    for (int number = 0; number < kPictures; ++number) {
        if (m_Packets[static_cast<std::size_t>(number)].key) {
            keys.push_back(number);
        }
    }
    EXPECT_EQ(keys, GetParam().keys);
}

double BitsPerSecond(const std::vector<Packet>& packets) {
    const double seconds = static_cast<double>(kPictures) / kFrameRate;
    return 8.0 * static_cast<double>(RawStream(packets).size()) / seconds;
}

class ControlledRate : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(All, ControlledRate,
                         testing::Values(VIDEO_CODEC_FLV, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263, VIDEO_CODEC_H264));

TEST_P(ControlledRate, IsWhatWasAskedFor) {
    SetFfmpegLogLevel("quiet");
    for (const unsigned int bitRate : {300000U, 800000U, 1200000U}) {
        const double rate = BitsPerSecond(EncodeAll(GetParam(), bitRate));
        EXPECT_GT(rate, 0.95 * bitRate);
        EXPECT_LT(rate, 1.05 * bitRate);
    }
}

TEST(JpegRate, FollowsTheFixedQuantiserAndNotTheBitRate) {
    SetFfmpegLogLevel("quiet");
    const Bytes low = RawStream(EncodeAll(VIDEO_CODEC_MJPEG, 100000));
    EXPECT_EQ(low, RawStream(EncodeAll(VIDEO_CODEC_MJPEG, 8000000)));
    EXPECT_GT(low.size(), 1000000U);
}

struct Size {
    unsigned int width, height;
};

class ResizedStream : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(All, ResizedStream,
                         testing::Values(VIDEO_CODEC_FLV, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263, VIDEO_CODEC_MJPEG,
                                         VIDEO_CODEC_H264));

TEST_P(ResizedStream, IsDecodedInTheNewSizes) {
    SetFfmpegLogLevel("quiet");
    const Encoder encoder(Codrelay_VideoEncoder(GetParam(), ""));
    const Decoder decoder(NewFFmpegVideoDecoder(GetParam(), CSP_YUV420P, ""));
    ASSERT_EQ(encoder->CreateEncoder(CSP_YUV420P, 352, 288, kFrameRate, kBitRate, 0, 1, 50), 1);
    ASSERT_EQ(decoder->CreateDecoder(CSP_YUV420P, 352, 288, nullptr), 1);
    ASSERT_TRUE(decoder->AllowResolutionChange());
    for (const Size size : {Size{352, 288}, Size{704, 576}, Size{176, 144}}) {
        ASSERT_EQ(encoder->ChangeEncoderResolution(size.width, size.height), 1);
        for (int number = 0; number < 5; ++number) {
            Packet packet = EncodeScene(*encoder, size.width, size.height, number, 0);
            std::shared_ptr<CFrameBufferBase> frame;
            ASSERT_EQ(decoder->Decode(packet.bytes.data(), static_cast<int>(packet.bytes.size()), frame), 0);
            EXPECT_EQ(frame->m_nWidth, size.width);
            EXPECT_EQ(frame->m_nHeight, size.height);
            TestPicture original(size.width, size.height);
            PaintScene(original, static_cast<unsigned int>(number));
            const std::size_t bytes = original.Bytes().size();
            EXPECT_GT(Psnr(SquaredError(original.GetData(), frame->GetConstData(), bytes), static_cast<double>(bytes)),
                      30);
        }
    }
}

/// A picture on its way there and back that loses its last row or column where a codec cannot do without.
struct OddSize {
    int id;
    const char* name;
    const char* format;
    bool evenOnly;
};

void PrintTo(const OddSize& odd, std::ostream* out) {
    *out << odd.name;
}

/// The upper left part of a picture.
Bytes Corner(TestPicture& picture, Size part) {
    Bytes out;
    const unsigned char* plane = picture.GetData();
    const auto copy = [&](unsigned int planeWidth, unsigned int planeHeight, unsigned int width, unsigned int height) {
        for (unsigned int y = 0; y < height; ++y) {
            out.insert(out.end(), plane + y * planeWidth, plane + y * planeWidth + width);
        }
        plane += planeWidth * planeHeight;
    };
    const auto half = [](unsigned int size) { return (size + 1) / 2; };
    copy(picture.m_nWidth, picture.m_nHeight, part.width, part.height);
    for (int chroma = 0; chroma < 2; ++chroma) {
        copy(half(picture.m_nWidth), half(picture.m_nHeight), half(part.width), half(part.height));
    }
    return out;
}

class OddSizes : public testing::TestWithParam<OddSize> {};

INSTANTIATE_TEST_SUITE_P(All, OddSizes,
                         testing::Values(OddSize{VIDEO_CODEC_FLV, "flv", "flv", false},
                                         OddSize{VIDEO_CODEC_MPEG4, "mpeg4", "m4v", false},
                                         OddSize{VIDEO_CODEC_MJPEG, "mjpeg", "mjpeg", false},
                                         OddSize{VIDEO_CODEC_H264, "h264", "h264", true}),
                         [](const auto& test) { return test.param.name; });

TEST_P(OddSizes, ComeBackAsThePeerDecodesThem) {
    SetFfmpegLogLevel("quiet");
    const OddSize& odd = GetParam();
    for (const Size size : {Size{177, 145}, Size{177, 144}, Size{176, 145}}) {
        const Size kept = odd.evenOnly ? Size{176, 144} : size;
        const Encoder encoder(Codrelay_VideoEncoder(odd.id, ""));
        ASSERT_EQ(encoder->CreateEncoder(CSP_YUV420P, size.width, size.height, kFrameRate, kBitRate, 0, 1, 50), 1);
        Packet packet = EncodeScene(*encoder, size.width, size.height, 0, 1);
        const std::string peer = DecodedByThePeer(odd.format, StreamOf(odd.id, {packet}));

        const Decoder decoder(NewFFmpegVideoDecoder(odd.id, CSP_YUV420P, ""));
        ASSERT_EQ(decoder->CreateDecoder(CSP_YUV420P, kept.width, kept.height, nullptr), 1);
        std::shared_ptr<CFrameBufferBase> frame;
        ASSERT_EQ(decoder->Decode(packet.bytes.data(), static_cast<int>(packet.bytes.size()), frame), 0);
        EXPECT_EQ(frame->m_nWidth, kept.width);
        EXPECT_EQ(frame->m_nHeight, kept.height);

        TestPicture scene(size.width, size.height);
        PaintScene(scene, 0);
        const Bytes original = Corner(scene, kept);
        ASSERT_EQ(peer.size(), original.size());
        EXPECT_EQ(std::memcmp(frame->GetConstData(), peer.data(), peer.size()), 0);
        const double samples = static_cast<double>(original.size());
        EXPECT_GT(Psnr(SquaredError(original.data(), frame->GetConstData(), original.size()), samples), 38)
            << size.width << "x" << size.height;
    }
}

}  // namespace
