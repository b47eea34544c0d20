#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include "codrelay/factories.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "video_decoder/test_decoder.h"

namespace {

/// A video stream of a real file, and what a decoder that has nothing but the packets makes of it.
struct RealStream {
    std::string file;
    int index;
    std::string codec;
    unsigned int width;
    unsigned int height;
    std::string format;
    std::size_t packets;
    std::size_t pictures;
    std::string sha1;
};

void PrintTo(const RealStream& stream, std::ostream* out) {
    *out << stream.file;
}

// --- Reading the list. Its columns hold one entry a stream, with "; " between them, each with "INDEX:" before it.

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find(separator, begin)) != std::string::npos; begin = end + separator.size()) {
        parts.push_back(text.substr(begin, end - begin));
    }
    parts.push_back(text.substr(begin));
    return parts;
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string OfStream(const std::string& column, int index) {
    const std::string prefix = std::to_string(index) + ":";
    for (const std::string& entry : Split(column, "; ")) {
        if (entry.rfind(prefix, 0) == 0) {
            return entry.substr(prefix.size());
        }
    }
    return "";
}

std::string After(const std::string& word, const std::string& prefix) {
    return word.rfind(prefix, 0) == 0 ? word.substr(prefix.size()) : "";
}

std::optional<RealStream> VideoOf(const std::vector<std::string>& columns) {
    for (int index = 0; index < 2; ++index) {
        // "video h264 176x144 yuv420p has_b=0"
        const std::vector<std::string> words = Words(OfStream(columns.at(8), index));
        // "100 frames left_inside=0 sha1=..."
        const std::vector<std::string> decoded = Words(OfStream(columns.at(13), index));
        if (words.size() < 4 || words[0] != "video" || decoded.size() != 4) {
            continue;
        }
        const std::vector<std::string> size = Split(words[2], "x");
        return RealStream{columns[0],
                          index,
                          words[1],
                          static_cast<unsigned int>(std::stoul(size[0])),
                          static_cast<unsigned int>(std::stoul(size[1])),
                          words[3],
                          std::stoul(OfStream(columns.at(9), index)),
                          std::stoul(decoded[0]),
                          After(decoded[3], "sha1=")};
    }
    return std::nullopt;
}

std::vector<RealStream> AllRealStreams() {
    std::vector<RealStream> streams;
    const std::optional<std::string> list = RealFile("MANIFEST.tsv");
    std::ifstream lines(list.value_or(""));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        if (const std::optional<RealStream> stream = VideoOf(Split(line, "\t"))) {
            streams.push_back(*stream);
        }
    }
    return streams;
}

DecoderCodec CodecOf(const std::string& name) {
    for (const DecoderCodec& codec : {kH264, kH265, kMpeg4, kMjpeg, kH263}) {
        if (name == codec.name) {
            return codec;
        }
    }
    return name == "flv1" ? kFlv1 : DecoderCodec{AV_CODEC_ID_NONE, ""};
}

// --- Decoding one.

class PacketsOf : public CDemuxerFileCallback {
public:
    explicit PacketsOf(int stream) : m_nStream(stream) {}
    int OnPacket(DEMUXER_PACKET* packet) override {
        if (packet->streamIndex == m_nStream) {
            units.emplace_back(packet->data, packet->data + packet->size);
        }
        return 0;
    }
    std::vector<AccessUnit> units;

private:
    int m_nStream;
};

std::vector<AccessUnit> DemuxedUnits(const RealStream& stream) {
    PacketsOf packets(stream.index);
    const std::unique_ptr<CDemuxerFileBase> demuxer(Codrelay_DemuxerFile(0));
    if (demuxer->Open(RealFile(stream.file)->c_str(), &packets)) {
        while (demuxer->ReadNextFrame() == 1) {
        }
    }
    return std::move(packets.units);
}

bool Is420(const RealStream& stream) {
    return stream.format == "yuv420p" || stream.format == "yuvj420p";
}

class RealMedia : public testing::TestWithParam<RealStream> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealMedia);

TEST_P(RealMedia, DecodesToTheKnownPictures) {
    const LogCapture log;
    const RealStream& stream = GetParam();
    std::vector<AccessUnit> units = DemuxedUnits(stream);
    ASSERT_EQ(units.size(), stream.packets);

    const bool plain = Is420(stream);
    TestDecoder decoder(CodecOf(stream.codec));
    ASSERT_EQ(decoder.Create(stream.width, stream.height), 1);
    if (stream.file == "h264/Error_I_P.264") {
        decoder->AllowResolutionChange();  // two pictures in its midst are larger
    }
    Digest digest = Digest::Sha1();
    std::size_t pictures = 0;
    for (AccessUnit& unit : units) {
        Frame frame;
        const int status = decoder.Decode(unit, frame);
        ASSERT_THAT(status, testing::AnyOf(0, 3));
        if (status == 0) {
            ++pictures;
            digest.Add(frame->GetConstData(), PictureSize(CSP_YUV420P, frame->m_nWidth, frame->m_nHeight));
        }
    }
    EXPECT_EQ(pictures, stream.pictures);
    if (plain) {
        EXPECT_EQ(digest.Finish(), stream.sha1);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, RealMedia, testing::ValuesIn(AllRealStreams()), [](const auto& test) {
    std::string name = test.param.file;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
});

TEST(RealMediaList, HoldsTheStreamsThatWeKnow) {
    if (!RealFile("MANIFEST.tsv")) {
        GTEST_SKIP() << "no real media files here";
    }
    EXPECT_EQ(AllRealStreams().size(), 17U);
}

}  // namespace
