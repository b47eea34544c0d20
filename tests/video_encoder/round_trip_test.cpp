#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "codrelay/codrelay.h"
#include "common/process.h"
#include "test_picture.h"

using testing::Each;
using testing::IsEmpty;

namespace {

constexpr unsigned int kWidth = 352;
constexpr unsigned int kHeight = 288;
constexpr int kPictures = 300;
constexpr unsigned int kFrameRate = 25;
constexpr int kAskedKey = 130;

using Bytes = std::vector<unsigned char>;

struct Packet {
    Bytes bytes;
    bool key;
};

/// One codec on its way there and back. The floors stand about 1 dB below what is measured.
struct RoundTrip {
    int id;
    const char* name;
    /// The peer's name of the raw stream.
    const char* format;
    unsigned int bitRate;
    double psnrFloor;
    double worstPictureFloor;
    /// Bits a second that come out; the codec's own control is not exact.
    double lowestRate, highestRate;
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

std::vector<Packet> EncodeAll(const RoundTrip& trip) {
    const Encoder encoder(Codrelay_VideoEncoder(trip.id, ""));
    EXPECT_EQ(encoder->CreateEncoder(CSP_YUV420P, kWidth, kHeight, kFrameRate, trip.bitRate, 0, 1, 50), 1);
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

/// What the peer decodes a stream to, in 4:2:0 pictures back to back.
std::string DecodeByPeer(const std::string& format, const Bytes& stream) {
    const ProcessResult result =
        RunCommand("ffmpeg -nostdin -v error -xerror -f " + format + " -i pipe:0 -vsync passthrough -f rawvideo pipe:1",
                   std::string(stream.begin(), stream.end()));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
}

class EncodedStream : public testing::TestWithParam<RoundTrip> {
protected:
    void SetUp() override {
        SetFfmpegLogLevel("quiet");
        m_Packets = EncodeAll(GetParam());
        ASSERT_EQ(m_Packets.size(), static_cast<std::size_t>(kPictures));
    }

    void ExpectGoodPictures(const Quality& quality) const {
        EXPECT_EQ(quality.Pictures(), kPictures);
        EXPECT_GE(quality.Mean(), GetParam().psnrFloor);
        EXPECT_GE(quality.Worst(), GetParam().worstPictureFloor);
        RecordProperty("psnr", std::to_string(quality.Mean()));
        RecordProperty("worst", std::to_string(quality.Worst()));
        std::cout << GetParam().name << ": PSNR " << quality.Mean() << " dB, worst picture " << quality.Worst()
                  << " dB\n";
    }

    std::vector<Packet> m_Packets;
};

INSTANTIATE_TEST_SUITE_P(All, EncodedStream,
                         testing::Values(RoundTrip{VIDEO_CODEC_FLV, "flv", "flv", 800000, 30, 30, 1, 1e9, {}},
                                         RoundTrip{VIDEO_CODEC_MPEG4, "mpeg4", "m4v", 800000, 30, 30, 1, 1e9, {}},
                                         RoundTrip{VIDEO_CODEC_H263, "h263", "h263", 800000, 30, 30, 1, 1e9, {}},
                                         RoundTrip{VIDEO_CODEC_MJPEG, "mjpeg", "mjpeg", 800000, 30, 30, 1, 1e9,
                                                   AllPictures()},
                                         RoundTrip{VIDEO_CODEC_H264, "h264", "h264", 800000, 30, 30, 1, 1e9, {}}),
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
    const Bytes stream = GetParam().id == VIDEO_CODEC_FLV ? FlvFile(m_Packets) : RawStream(m_Packets);
    const std::string pictures = DecodeByPeer(GetParam().format, stream);
    const std::size_t pictureSize = TestPicture(kWidth, kHeight).Bytes().size();
    ASSERT_EQ(pictures.size(), kPictures * pictureSize);
    Quality quality;
    for (std::size_t at = 0; at < pictures.size(); at += pictureSize) {
        quality.Add(reinterpret_cast<const unsigned char*>(pictures.data()) + at);
    }
    ExpectGoodPictures(quality);
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

TEST_P(EncodedStream, KeepsNearItsBitRate) {
    const double seconds = static_cast<double>(kPictures) / kFrameRate;
    const double rate = 8.0 * static_cast<double>(RawStream(m_Packets).size()) / seconds;
    std::cout << GetParam().name << ": " << rate << " bits a second\n";
    EXPECT_GE(rate, GetParam().lowestRate);
    EXPECT_LE(rate, GetParam().highestRate);
}

}  // namespace
