#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

#include "common/log_capture.h"
#include "common/peer.h"
#include "common/test_media.h"
#include "video_decoder/test_decoder.h"

using testing::ElementsAreArray;
using uvqlog::Severity;

namespace {

struct Size {
    unsigned int width;
    unsigned int height;
    bool operator==(const Size& other) const { return width == other.width && height == other.height; }
};

struct Segment {
    Size size;
    std::size_t pictures;
};

struct ResizedStream {
    const char* clip;
    DecoderCodec codec;
    std::vector<Segment> segments;
    std::size_t delay;

    /// The size of each picture.
    std::vector<Size> Sizes() const {
        std::vector<Size> sizes;
        for (const Segment& segment : segments) {
            sizes.insert(sizes.end(), segment.pictures, segment.size);
        }
        return sizes;
    }
};

void PrintTo(const ResizedStream& stream, std::ostream* out) {
    *out << stream.clip;
}

std::string Text(Size size, char between) {
    return std::to_string(size.width) + between + std::to_string(size.height);
}

LoggedLine ChangedLine(Size from, Size to) {
    return Ffmpeg(Severity::Info, "CVideoDecoder::Decode: resolution changed from " + Text(from, 'x') + " to " +
                                      Text(to, 'x') + ", reiniting the pool");
}

LoggedLine RefusedLine(Size from, Size to) {
    return Ffmpeg(Severity::Critical,
                  "CVideoDecoder::CopyOutFrame: error w:h changed from " + Text(from, ':') + " to " + Text(to, ':'));
}

class DecodeResized : public testing::TestWithParam<ResizedStream> {
protected:
    DecodeResized()
        : m_Stream(GetParam()),
          m_Sizes(m_Stream.Sizes()),
          m_Peer(PeerPictures(Clip(m_Stream.clip))),
          m_Units(AccessUnits(Clip(m_Stream.clip))),
          m_Decoder(m_Stream.codec) {}

    void SetUp() override {
        ASSERT_EQ(m_Peer.size(), m_Sizes.size());
        ASSERT_EQ(m_Units.size(), m_Sizes.size());
        ASSERT_EQ(m_Decoder.Create(m_Sizes[0].width, m_Sizes[0].height), 1);
        m_Log.Take();
    }

    ResizedStream m_Stream;
    std::vector<Size> m_Sizes;
    std::vector<PeerPicture> m_Peer;
    std::vector<AccessUnit> m_Units;
    LogCapture m_Log;
    TestDecoder m_Decoder;
};

TEST_P(DecodeResized, EachPictureComesInItsOwnSizeAndHeldOnesStayIntact) {
    m_Decoder->AllowResolutionChange();
    std::vector<std::pair<Frame, std::string>> held;
    std::vector<LoggedLine> changes;
    Size current = m_Sizes[0];
    for (std::size_t i = 0; i < m_Units.size(); ++i) {
        const bool early = i < m_Stream.delay;
        Frame frame;
        ASSERT_EQ(m_Decoder.Decode(m_Units[i], frame), early ? 3 : 0) << "call " << i;
        if (early) {
            continue;
        }
        const std::size_t picture = i - m_Stream.delay;
        const Size size = m_Sizes[picture];
        if (!(size == current)) {
            changes.push_back(ChangedLine(current, size));
            current = size;
        }
        ASSERT_EQ(frame->m_nWidth, size.width);
        ASSERT_EQ(frame->m_nHeight, size.height);
        ASSERT_EQ(HashOf(*frame), m_Peer[picture].md5) << "picture " << picture;
        if (picture % 2 == 0) {
            held.emplace_back(frame, m_Peer[picture].md5);
        }
    }
    EXPECT_EQ(changes.size(), m_Stream.segments.size() - 1);
    EXPECT_THAT(m_Log.Take(), ElementsAreArray(changes));
    for (const auto& [frame, md5] : held) {
        EXPECT_EQ(HashOf(*frame), md5);
    }
}

TEST_P(DecodeResized, PicturesOfAnotherSizeAreRefusedUntilTheStreamReturns) {
    std::vector<LoggedLine> refusals;
    for (std::size_t i = 0; i < m_Units.size(); ++i) {
        Frame frame;
        const int status = m_Decoder.Decode(m_Units[i], frame);
        if (i < m_Stream.delay) {
            ASSERT_EQ(status, 3);
            continue;
        }
        const std::size_t picture = i - m_Stream.delay;
        if (m_Sizes[picture] == m_Sizes[0]) {
            ASSERT_EQ(status, 0) << "picture " << picture;
            ASSERT_EQ(HashOf(*frame), m_Peer[picture].md5) << "picture " << picture;
        } else {
            ASSERT_EQ(status, 5) << "picture " << picture;
            ASSERT_EQ(frame, nullptr);
            refusals.push_back(RefusedLine(m_Sizes[0], m_Sizes[picture]));
        }
    }
    EXPECT_THAT(m_Log.Take(), ElementsAreArray(refusals));
}

TEST_P(DecodeResized, APermissionGivenAfterARefusalWorksFromTheNextPictureOn) {
    std::size_t refused = 0;
    for (std::size_t i = 0; i < m_Units.size(); ++i) {
        Frame frame;
        const int status = m_Decoder.Decode(m_Units[i], frame);
        if (status == 5) {
            ++refused;
            EXPECT_TRUE(m_Decoder->AllowResolutionChange());
        } else if (status == 0) {
            ASSERT_EQ(HashOf(*frame), m_Peer[i - m_Stream.delay].md5);
        }
    }
    EXPECT_EQ(refused, 1U);
}

const ResizedStream kResizedStreams[] = {
    {"h264_resized.264", kH264, {{{320, 240}, 10}, {{640, 360}, 10}, {{176, 144}, 10}, {{320, 240}, 10}}, 0},
    {"h265_resized.265", kH265, {{{320, 240}, 10}, {{640, 360}, 10}, {{176, 144}, 10}, {{320, 240}, 10}}, 0},
    {"h264_resized_reordered.264", kH264, {{{320, 240}, 10}, {{640, 360}, 2}, {{320, 240}, 10}}, 2},
    {"h265_resized_reordered.265", kH265, {{{320, 240}, 10}, {{640, 360}, 2}, {{320, 240}, 10}}, 2},
    {"mjpeg_resized.mjpeg", kMjpeg, {{{320, 240}, 5}, {{33, 17}, 5}, {{97, 61}, 5}, {{1, 1}, 5}, {{320, 240}, 5}}, 0},
};

INSTANTIATE_TEST_SUITE_P(Clips, DecodeResized, testing::ValuesIn(kResizedStreams));

// --- A decoder that was made for another size from the start.

TEST(DecodeOtherSize, EveryPictureIsRefused) {
    struct Stream {
        const char* clip;
        DecoderCodec codec;
        Size created;
    };
    for (const Stream& stream :
         {Stream{"h264_baseline.264", kH264, {322, 240}}, Stream{"mpeg4.avi", kMpeg4, {322, 240}},
          Stream{"h264_baseline.264", kH264, {304, 240}}, Stream{"h264_baseline.264", kH264, {320, 256}},
          Stream{"mpeg4.avi", kMpeg4, {320, 238}}, Stream{"h265.265", kH265, {318, 238}},
          Stream{"mpeg4.avi", kMpeg4, {318, 238}}}) {
        std::vector<AccessUnit> units = AccessUnits(Clip(stream.clip));
        LogCapture log;
        TestDecoder decoder(stream.codec);
        ASSERT_EQ(decoder.Create(stream.created.width, stream.created.height), 1);
        log.Take();
        Frame frame;
        EXPECT_EQ(decoder.Decode(units[0], frame), 5);
        EXPECT_FALSE(decoder->Decode(units[1].data(), static_cast<int>(units[1].size())));
        EXPECT_EQ(frame, nullptr);
        const LoggedLine line = RefusedLine(stream.created, {320, 240});
        EXPECT_THAT(log.Take(), testing::ElementsAre(line, line));
    }
}

// FFmpeg takes JPEG that is lower than three quarters of the created height for fields, two to a picture. Only the
// first picture counts.
TEST(DecodeOtherSize, JpegThatIsMuchLowerIsTakenForFields) {
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg_odd.avi"));
    const auto decode = [&units](unsigned int createdHeight) {
        TestDecoder decoder(kMjpeg);
        decoder->AllowResolutionChange();
        EXPECT_EQ(decoder.Create(64, createdHeight), 1);
        std::vector<unsigned int> heights;
        for (std::size_t i = 0; i < 4; ++i) {
            Frame frame;
            heights.push_back(decoder.Decode(units[i], frame) == 0 ? frame->m_nHeight : 0);
        }
        return heights;
    };
    EXPECT_THAT(decode(23), testing::ElementsAre(17, 17, 17, 17));
    EXPECT_THAT(decode(24), testing::ElementsAre(0, 34, 0, 34));
}

// FFmpeg takes the created size for the container's, and crops to it within a block of 16 pixels.
TEST(DecodeOtherSize, H264IsCroppedToASlightlySmallerSize) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip("h264_baseline.264"), "-vf crop=318:238:0:0");
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_baseline.264"));
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(318, 238), 1);
    Frame frame;
    for (std::size_t i = 0; i < units.size(); ++i) {
        ASSERT_EQ(decoder.Decode(units[i], frame), 0);
        ASSERT_EQ(frame->m_nWidth, 318U);
        ASSERT_EQ(frame->m_nHeight, 238U);
        ASSERT_EQ(HashOf(*frame), peer[i].md5);
    }
}

}  // namespace
