#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <set>
#include <stdexcept>

#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "common/peer.h"
#include "common/test_media.h"
#include "video_decoder/test_decoder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

const LoggedLine kZeroLength = Ffmpeg(Severity::Error, "CVideoDecoder::Decode: Zero input len!");
const LoggedLine kNotCreated = Ffmpeg(Severity::Error, "CVideoDecoder::Decode: You should create first!");
const LoggedLine kOutOfFrames = Ffmpeg(Severity::Critical, "CVideoDecoder::Decode: frame pool is out of frames!");
const LoggedLine kServiceData =
    Ffmpeg(Severity::Trace, "CVideoDecoder::DecodeImpl: video decode service data skip none VCL NALU");
const std::string kSubmitting = "CVideoDecoder::DecodeImpl: Error submitting the packet to the video decoder:  err: ";
const LoggedLine kBadPacket =
    Ffmpeg(Severity::Error, kSubmitting + "(-1094995529) Invalid data found when processing input");
const LoggedLine kRefusedPacket = Ffmpeg(Severity::Error, kSubmitting + "(-1) Operation not permitted");

constexpr std::size_t kPoolSize = 8;
constexpr long long kEarliest = std::numeric_limits<long long>::min();
constexpr long long kLatest = std::numeric_limits<long long>::max();

// --- Before FFmpeg sees anything.

TEST(DecodePath, NoLengthIsAnErrorEvenBeforeCreation) {
    LogCapture log;
    TestDecoder decoder(kH264);
    unsigned char byte = 0;
    Frame frame;
    for (const int length : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(decoder->Decode(&byte, length, frame), 2);
        EXPECT_EQ(decoder->Decode(&byte, length, frame, 5, 0), 2);
        EXPECT_FALSE(decoder->Decode(&byte, length));
        EXPECT_THAT(log.Take(), ElementsAre(kZeroLength, kZeroLength, kZeroLength));
    }
    EXPECT_EQ(frame, nullptr);
}

TEST(DecodePath, NoLengthTakesNoFrame) {
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg.avi"));
    TestDecoder decoder(kMjpeg);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    std::vector<Frame> held(kPoolSize);
    for (Frame& frame : held) {
        ASSERT_EQ(decoder.Decode(units[0], frame), 0);
    }
    LogCapture log;
    Frame frame;
    EXPECT_EQ(decoder->Decode(units[0].data(), 0, frame), 2);
    EXPECT_THAT(log.Take(), ElementsAre(kZeroLength));
}

TEST(DecodePath, ADecoderThatWasNeverCreatedOrIsDestroyedSaysSo) {
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg.avi"));
    TestDecoder decoder(kMjpeg);
    Frame frame;
    LogCapture log;
    EXPECT_EQ(decoder.Decode(units[0], frame), 2);
    EXPECT_THAT(log.Take(), ElementsAre(kNotCreated));

    ASSERT_EQ(decoder.Create(320, 240), 1);
    EXPECT_EQ(decoder.Decode(units[0], frame), 0);
    decoder->DestroyDecoder();
    log.Take();
    EXPECT_EQ(decoder.Decode(units[0], frame), 2);
    EXPECT_FALSE(decoder->Decode(units[0].data(), 1));
    EXPECT_THAT(log.Take(), ElementsAre(kNotCreated, kNotCreated));
}

TEST(DecodePath, APacketThatFindsNoFrameIsNotSent) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip("h264_baseline.264"));
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_baseline.264"));
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    std::vector<Frame> held(kPoolSize);
    for (std::size_t i = 0; i < kPoolSize; ++i) {
        ASSERT_EQ(decoder.Decode(units[i], held[i]), 0);
    }
    LogCapture log;
    Frame frame;
    EXPECT_EQ(decoder.Decode(units[kPoolSize], frame), 4);
    EXPECT_FALSE(decoder->Decode(units[kPoolSize].data(), static_cast<int>(units[kPoolSize].size())));
    EXPECT_EQ(frame, nullptr);
    EXPECT_THAT(log.Take(), ElementsAre(kOutOfFrames, kOutOfFrames));

    // The packet, repeated, goes on where the stream had stopped.
    held[3].reset();
    ASSERT_EQ(decoder.Decode(units[kPoolSize], frame), 0);
    EXPECT_EQ(HashOf(*frame), peer[kPoolSize].md5);
}

TEST(DecodePath, ASizeWithoutBytesHasNoFrames) {
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_baseline.264"));
    LogCapture log;
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 0), 1);
    log.Take();
    Frame frame;
    EXPECT_EQ(decoder.Decode(units[0], frame), 4);
    EXPECT_THAT(log.Take(), ElementsAre(kOutOfFrames));
}

// --- Frames.

TEST(DecodePath, CallsWithoutAPictureGiveTheirFrameBack) {
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    AccessUnit delimiter{0, 0, 0, 1, 9, 0x10};
    Frame frame;
    for (std::size_t i = 0; i < 3 * kPoolSize; ++i) {
        ASSERT_EQ(decoder.Decode(delimiter, frame), 3);
    }
    EXPECT_EQ(frame, nullptr);
}

TEST(DecodePath, OnePointerUsedAgainAndAgainKeepsTwoBuffersInMotion) {
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg.avi"));
    TestDecoder decoder(kMjpeg);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    std::set<unsigned char*> buffers;
    Frame frame;
    for (AccessUnit& unit : units) {
        ASSERT_EQ(decoder.Decode(unit, frame), 0);
        buffers.insert(frame->GetData());
    }
    EXPECT_EQ(buffers.size(), 2U);
}

TEST(DecodePath, AFailureLeavesTheCallersFrameAsItWas) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip("h264_baseline.264"));
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_baseline.264"));
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    Frame frame;
    ASSERT_EQ(decoder.Decode(units[0], frame, 77, 0), 0);
    const Frame before = frame;
    AccessUnit delimiter{0, 0, 0, 1, 9, 0x10};
    EXPECT_EQ(decoder.Decode(delimiter, frame, 78, 0), 3);
    LogCapture log;
    EXPECT_EQ(decoder->Decode(delimiter.data(), 0, frame, 79, 0), 2);
    EXPECT_THAT(log.Take(), ElementsAre(kZeroLength));
    EXPECT_EQ(frame, before);
    EXPECT_EQ(frame->m_nTimestamp, 77);
    EXPECT_EQ(HashOf(*frame), peer[0].md5);
    // The decoder stays usable.
    EXPECT_EQ(decoder.Decode(units[1], frame), 0);
    EXPECT_EQ(HashOf(*frame), peer[1].md5);
    EXPECT_NE(frame, before);
}

// --- The form without a frame.

class ScriptedStatus : public CVideoDecoder {
public:
    ScriptedStatus() : CVideoDecoder(AV_CODEC_ID_H264, "h264", CSP_YUV420P, AV_PIX_FMT_YUV420P) {}
    using CVideoDecoder::Decode;
    int Decode(unsigned char*, int length, Frame& frame) override {
        ++calls;
        frameWasEmpty = frame == nullptr;
        return length;
    }
    int calls = 0;
    bool frameWasEmpty = false;
};

TEST(DecodePath, WithoutAFrameTheStatusBecomesYesOrNo) {
    ScriptedStatus decoder;
    unsigned char byte = 0;
    EXPECT_TRUE(decoder.Decode(&byte, 0));
    EXPECT_FALSE(decoder.Decode(&byte, 2));
    EXPECT_TRUE(decoder.Decode(&byte, 3));
    EXPECT_FALSE(decoder.Decode(&byte, 4));
    EXPECT_FALSE(decoder.Decode(&byte, 5));
    EXPECT_EQ(decoder.calls, 5);
    EXPECT_TRUE(decoder.frameWasEmpty);
}

TEST(DecodePath, WithoutAFrameThePictureIsDropped) {
    std::vector<AccessUnit> units = AccessUnits(Clip("mjpeg.avi"));
    TestDecoder decoder(kMjpeg);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    for (AccessUnit& unit : units) {
        EXPECT_TRUE(decoder->Decode(unit.data(), static_cast<int>(unit.size())));
    }
}

// --- Timestamps and the rate limit. Each packet of the clip gives one picture.

struct Stamped {
    long long timestamp;
    unsigned int rateLimit;
    int status;
};

class RateLimit : public testing::Test {
protected:
    RateLimit() : m_Units(AccessUnits(Clip("mjpeg.avi"))), m_Decoder(kMjpeg) {}
    void SetUp() override { ASSERT_EQ(m_Decoder.Create(320, 240), 1); }

    void Expect(const std::vector<Stamped>& calls) {
        for (std::size_t i = 0; i < calls.size(); ++i) {
            Frame frame;
            EXPECT_EQ(m_Decoder.Decode(m_Units[i], frame, calls[i].timestamp, calls[i].rateLimit), calls[i].status)
                << "call " << i;
            if (frame != nullptr) {
                EXPECT_EQ(frame->m_nTimestamp, calls[i].timestamp) << "call " << i;
            }
        }
    }

    std::vector<AccessUnit> m_Units;
    TestDecoder m_Decoder;
};

TEST_F(RateLimit, ThirtyASecondLeavesOutWhatComesWithin33Milliseconds) {
    Expect({{0, 29, 3}, {32, 29, 3}, {33, 29, 0}, {65, 29, 3}, {66, 29, 0}, {1000, 29, 0}, {1032, 29, 3}});
}

TEST_F(RateLimit, NoneDropsNothingAndRemembersTheTimestamp) {
    Expect({{0, 0, 0}, {0, 0, 0}, {-50, 0, 0}, {100, 0, 0}, {132, 29, 3}, {133, 29, 0}, {100, 0, 0}, {133, 29, 0}});
}

TEST_F(RateLimit, ABackwardJumpDropsUntilTheTimeHasPassedAgain) {
    Expect({{5000, 29, 0}, {100, 29, 3}, {4999, 29, 3}, {5032, 29, 3}, {5033, 29, 0}});
}

TEST_F(RateLimit, AThousandAndMoreDropOnABackwardJumpOnly) {
    Expect({{7, 1000, 0}, {7, 1000, 0}, {6, 1000, 3}, {7, 5000, 0}, {6, 5000, 3}, {8, 4294967294U, 0}});
    Expect({{8, 999, 3}, {9, 999, 0}});
}

TEST_F(RateLimit, TheGreatestRateIsNoDivisionByZero) {
    Expect({{3, 4294967295U, 0}, {3, 4294967295U, 0}, {2, 4294967295U, 3}});
}

TEST_F(RateLimit, OneASecondHasAnIntervalOfHalfASecond) {
    Expect({{499, 1, 3}, {500, 1, 0}, {999, 1, 3}, {1000, 1, 0}});
}

TEST_F(RateLimit, ADifferenceBeyondTheRangeWrapsRound) {
    Expect({{kEarliest, 0, 0}, {kLatest, 29, 3}, {kLatest, 0, 0}, {kEarliest + 31, 29, 3}, {kEarliest + 32, 29, 0}});
}

TEST_F(RateLimit, CreationForgetsTheTimestamp) {
    Expect({{5000, 0, 0}});
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    Expect({{33, 29, 0}});
}

TEST_F(RateLimit, ACallWithoutATimestampIsNotLimitedAndLeaves0) {
    Expect({{5000, 29, 0}});
    Frame frame;
    EXPECT_EQ(m_Decoder.Decode(m_Units[0], frame), 0);
    EXPECT_EQ(frame->m_nTimestamp, 0);
    Expect({{5001, 29, 3}});
}

TEST_F(RateLimit, ADroppedPictureLeavesTheCallersFrame) {
    Frame frame;
    ASSERT_EQ(m_Decoder.Decode(m_Units[0], frame, 100, 29), 0);
    const Frame before = frame;
    EXPECT_EQ(m_Decoder.Decode(m_Units[1], frame, 101, 29), 3);
    EXPECT_EQ(frame, before);
    EXPECT_EQ(frame->m_nTimestamp, 100);
}

TEST(DecodePath, ADroppedPictureIsNotLookedAtForItsSize) {
    std::vector<AccessUnit> units = AccessUnits(Clip("flv1_odd.flv"));
    TestDecoder decoder(kFlv1);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    Frame frame;
    LogCapture log;
    EXPECT_EQ(decoder.Decode(units[0], frame, 32, 29), 3);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(decoder.Decode(units[1], frame, 33, 29), 5);
    // The refused picture has passed the limit and counts.
    EXPECT_EQ(decoder.Decode(units[2], frame, 65, 29), 3);
    log.Take();
    decoder->AllowResolutionChange();
    EXPECT_EQ(decoder.Decode(units[3], frame, 65, 29), 3);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(decoder.Decode(units[4], frame, 66, 29), 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info,
                                   "CVideoDecoder::Decode: resolution changed from 320x240 to 33x17, reiniting the "
                                   "pool")));
}

TEST(DecodePath, WithReorderingTheTimestampIsThatOfTheCall) {
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_reordered.264"));
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    Frame frame;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const auto timestamp = static_cast<long long>(1000 + i);
        const int status = decoder.Decode(units[i], frame, timestamp, 0);
        if (i < 2) {
            ASSERT_EQ(status, 3);
        } else {
            ASSERT_EQ(status, 0);
            ASSERT_EQ(frame->m_nTimestamp, timestamp);
        }
    }
}

// --- The end of the stream, by a null pointer with a length.

TEST(DecodePath, NullDataWithALengthEndsTheStream) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip("h264_reordered.264"));
    std::vector<AccessUnit> units = AccessUnits(Clip("h264_reordered.264"));
    TestDecoder decoder(kH264);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    Frame frame;
    for (AccessUnit& unit : units) {
        decoder.Decode(unit, frame);
    }
    LogCapture log;
    EXPECT_EQ(decoder->Decode(nullptr, 10, frame), 0);
    EXPECT_EQ(HashOf(*frame), peer.back().md5);
    EXPECT_EQ(decoder->Decode(nullptr, 10, frame), 3);
    EXPECT_EQ(decoder.Decode(units[0], frame), 3);
    EXPECT_TRUE(decoder->Decode(units[0].data(), static_cast<int>(units[0].size())));
    EXPECT_THAT(log.Take(), IsEmpty());

    decoder->DestroyDecoder();
    ASSERT_EQ(decoder.Create(320, 240), 1);
    EXPECT_EQ(decoder.Decode(units[0], frame), 3);
    EXPECT_EQ(decoder.Decode(units[1], frame), 3);
    EXPECT_EQ(decoder.Decode(units[2], frame), 0);
    EXPECT_EQ(HashOf(*frame), peer[0].md5);
}

// --- Service data: what FFmpeg refuses, and what hosts are told of it.

struct Refused {
    const char* name;
    DecoderCodec codec;
    AccessUnit bytes;
    int status;
    std::vector<LoggedLine> lines;
};

void PrintTo(const Refused& refused, std::ostream* out) {
    *out << refused.name;
}

class ServiceData : public testing::TestWithParam<Refused> {};

TEST_P(ServiceData, IsToldFromBrokenSlices) {
    Refused refused = GetParam();
    TestDecoder decoder(refused.codec);
    ASSERT_EQ(decoder.Create(320, 240), 1);
    LogCapture log;
    Frame frame;
    EXPECT_EQ(decoder.Decode(refused.bytes, frame), refused.status);
    EXPECT_EQ(frame, nullptr);
    EXPECT_THAT(log.Take(), testing::ElementsAreArray(refused.lines));
    EXPECT_EQ(decoder->Decode(refused.bytes.data(), static_cast<int>(refused.bytes.size())), refused.status == 3);
}

const AccessUnit kSlicePartition{0, 0, 1, 5, 0x88, 0x84, 0, 0x33, 1, 2, 3, 4, 5, 6, 7, 8};
const AccessUnit kSixteenFf(16, 0xff);

/// The first NAL unit of that type in a stream, with a start code of four bytes.
AccessUnit NalUnit(const AccessUnit& stream, int type) {
    const unsigned char startCode[] = {0, 0, 1};
    const auto next = [&](auto from) { return std::search(from, stream.end(), startCode, startCode + 3); };
    for (auto begin = next(stream.begin()); begin != stream.end(); begin = next(begin + 3)) {
        if ((begin[3] & 0x1f) == type) {
            AccessUnit unit{0};
            unit.insert(unit.end(), begin, next(begin + 3));
            return unit;
        }
    }
    throw std::runtime_error("no such NAL unit");
}

// FFmpeg 7 passes over a slice of H.265 that it cannot read.
Refused BrokenH265Slice() {
    const AccessUnit bytes{0, 0, 0, 1, 0x26, 1, 0xaf, 9, 0x40, 0x55};
    return IsFfmpeg7() ? Refused{"H265Slice", kH265, bytes, 3, {}}
                       : Refused{"H265Slice", kH265, bytes, 2, {kBadPacket}};
}

const Refused kRefused[] = {
    {"Sei", kH264, {0, 0, 1, 6, 4, 1, 0, 0x80}, 3, {kServiceData}},
    {"AccessUnitDelimiter", kH264, {0, 0, 0, 1, 9, 0x10}, 3, {kServiceData}},
    {"Filler", kH264, {0, 0, 1, 0x0c, 0xff, 0xff, 0x80}, 3, {kServiceData}},
    {"NoStartCode", kH264, {0xff, 0xff, 0xff, 0xff, 0xff}, 3, {kServiceData}},
    {"OneZero", kH264, {0}, 3, {kServiceData}},
    {"IdrSlice", kH264, {0, 0, 0, 1, 0x65, 0x88, 0x84, 0, 0x33, 0xff}, 2, {kBadPacket}},
    {"IdrHeaderAlone", kH264, {0, 0, 1, 0x65}, 2, {kBadPacket}},
    {"PredictedSlice", kH264, {0, 0, 0, 1, 0x41, 0x9a, 0, 0x10}, 2, {kBadPacket}},
    {"EndOfSequence", kH264, {0, 0, 0, 1, 0x0a}, 3, {}},
    BrokenH265Slice(),
    {"H265Delimiter", kH265, {0, 0, 0, 1, 0x46, 1, 0x50}, 3, {}},
    {"Mpeg4WithoutStartCode", kMpeg4, kSixteenFf, 3, {kServiceData}},
    {"Flv1WithoutStartCode", kFlv1, kSixteenFf, 3, {kServiceData}},
    {"H263WithoutStartCode", kH263, kSixteenFf, 3, {kServiceData}},
    {"MjpegWithoutStartCode", kMjpeg, kSixteenFf, 3, {kServiceData}},
    {"Mpeg4LikeASlice", kMpeg4, kSlicePartition, 2, {kBadPacket}},
    {"Flv1LikeASlice", kFlv1, kSlicePartition, 2, {kBadPacket}},
    {"H263LikeASlice", kH263, kSlicePartition, 2, {kRefusedPacket}},
    {"MjpegLikeASlice", kMjpeg, kSlicePartition, 2, {kBadPacket}},
};

INSTANTIATE_TEST_SUITE_P(Packets, ServiceData, testing::ValuesIn(kRefused),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(DecodePath, ParameterSetsAloneAreServiceData) {
    const AccessUnit stream = AccessUnits(Clip("h264_baseline.264"))[0];
    for (const int type : {7, 8}) {
        AccessUnit parameters = NalUnit(stream, type);
        TestDecoder decoder(kH264);
        ASSERT_EQ(decoder.Create(320, 240), 1);
        LogCapture log;
        Frame frame;
        EXPECT_EQ(decoder.Decode(parameters, frame), 3);
        EXPECT_THAT(log.Take(), ElementsAre(kServiceData));
    }
}

}  // namespace
