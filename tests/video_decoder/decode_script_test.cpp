#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <deque>
#include <optional>

#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "video_decoder/test_decoder.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

constexpr int kAgain = AVERROR(EAGAIN);
constexpr int kEnd = AVERROR_EOF;
constexpr int kChanged = AVERROR_INPUT_CHANGED;

/// What one call of FFmpeg's answers. A receive call may write a picture whose bytes are all of one value.
struct Step {
    enum Call { kSend, kReceive } call;
    int result;
    int value = -1;
    int width = 16;
    int height = 16;
};

Step Send(int result) {
    return {Step::kSend, result};
}
Step Receive(int result) {
    return {Step::kReceive, result};
}
Step Picture(int value, int result = 0) {
    return {Step::kReceive, result, value};
}
Step PictureOfSize(int value, int width, int height) {
    return {Step::kReceive, 0, value, width, height};
}

struct SentPacket {
    const unsigned char* data;
    int size;
    bool operator==(const SentPacket& other) const { return data == other.data && size == other.size; }
};

std::deque<Step> g_Steps;
std::vector<SentPacket> g_Sent;
AVPacket g_LastSent;
/// The size in FFmpeg's context when it was last sent a packet.
std::array<int, 2> g_ContextSize;
std::optional<int> g_FailingCopy;
AVPixelFormat g_Format = AV_PIX_FMT_YUV420P;
long long g_NowMs = 0;

std::optional<Step> Next(Step::Call call) {
    if (g_Steps.empty() || g_Steps.front().call != call) {
        ADD_FAILURE() << "an unexpected call of " << (call == Step::kSend ? "send" : "receive");
        return std::nullopt;
    }
    const Step step = g_Steps.front();
    g_Steps.pop_front();
    return step;
}

void Write(const Step& step, AVFrame* frame) {
    frame->format = g_Format;
    frame->width = step.width;
    frame->height = step.height;
    if (av_frame_get_buffer(frame, 0) == 0) {
        for (int plane = 0; plane < 3 && frame->buf[plane] != nullptr; ++plane) {
            std::memset(frame->buf[plane]->data, step.value, static_cast<std::size_t>(frame->buf[plane]->size));
        }
    }
}

}  // namespace

extern "C" {

int __wrap_avcodec_send_packet(AVCodecContext* context, const AVPacket* packet) {
    g_ContextSize = {context->width, context->height};
    g_Sent.push_back({packet->data, packet->size});
    g_LastSent = *packet;
    const std::optional<Step> step = Next(Step::kSend);
    return step ? step->result : 0;
}

int __wrap_avcodec_receive_frame(AVCodecContext*, AVFrame* frame) {
    av_frame_unref(frame);
    const std::optional<Step> step = Next(Step::kReceive);
    if (!step) {
        return kEnd;
    }
    if (step->value >= 0) {
        Write(*step, frame);
    }
    return step->result;
}

int __real_av_image_copy_to_buffer(uint8_t* dst, int size, const uint8_t* const planes[4], const int linesizes[4],
                                   AVPixelFormat format, int width, int height, int align);
int __wrap_av_image_copy_to_buffer(uint8_t* dst, int size, const uint8_t* const planes[4], const int linesizes[4],
                                   AVPixelFormat format, int width, int height, int align) {
    if (g_FailingCopy) {
        return *g_FailingCopy;
    }
    return __real_av_image_copy_to_buffer(dst, size, planes, linesizes, format, width, height, align);
}

// The clock.
long long __wrap__ZN5utils20GetMonotonicTimeInMsEv() {
    return g_NowMs;
}
}

namespace {

class DecodeScript : public testing::Test {
protected:
    DecodeScript() : m_Decoder(std::make_unique<TestDecoder>(kH264)) {
        g_Steps.clear();
        g_Sent.clear();
        g_FailingCopy.reset();
        g_Format = AV_PIX_FMT_YUV420P;
    }
    ~DecodeScript() override { EXPECT_TRUE(g_Steps.empty()) << "not all steps were taken"; }

    void SetUp() override { ASSERT_EQ(m_Decoder->Create(16, 16), 1); }

    void Use(DecoderCodec codec, DecoderFormat format = kYuv420) {
        m_Decoder = std::make_unique<TestDecoder>(codec, format);
        ASSERT_EQ(m_Decoder->Create(16, 16), 1);
        m_Log.Take();
    }

    int Run(std::deque<Step> steps) {
        Script(std::move(steps));
        return m_Decoder->Decode(m_Packet, m_Frame);
    }
    int Run(std::deque<Step> steps, long long timestamp, unsigned int rateLimit) {
        Script(std::move(steps));
        return m_Decoder->Decode(m_Packet, m_Frame, timestamp, rateLimit);
    }
    /// The value of all bytes of the caller's frame.
    int Value() const {
        const unsigned char* data = m_Frame->GetConstData();
        const unsigned int size = PictureSize(CSP_YUV420P, m_Frame->m_nWidth, m_Frame->m_nHeight);
        EXPECT_THAT(std::vector<unsigned char>(data, data + size), Each(data[0]));
        return data[0];
    }

    LogCapture m_Log{Severity::Error};
    std::unique_ptr<TestDecoder> m_Decoder;
    AccessUnit m_Packet{0, 0, 0, 1, 0x65, 1, 2, 3};
    Frame m_Frame;

private:
    void Script(std::deque<Step> steps) {
        EXPECT_TRUE(g_Steps.empty()) << "not all steps were taken";
        g_Steps = std::move(steps);
        g_Sent.clear();
    }
};

// --- Sending.

TEST_F(DecodeScript, APacketThatFindsNoRoomIsSentAgainAfterReceiving) {
    EXPECT_EQ(Run({Send(kAgain), Picture(5), Receive(kAgain), Send(0), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), 5);
    const SentPacket packet{m_Packet.data(), static_cast<int>(m_Packet.size())};
    EXPECT_THAT(g_Sent, ElementsAre(packet, packet));
}

// FFmpeg takes a time of 0 for a time, and whatever else it finds in a packet for the host's.
TEST_F(DecodeScript, APacketTellsItsBytesAndNothingElse) {
    AVPacket bare;
    av_init_packet(&bare);
    EXPECT_EQ(Run({Send(0), Receive(kAgain)}, 1234, 0), 3);
    EXPECT_EQ(g_LastSent.pts, bare.pts);
    EXPECT_EQ(g_LastSent.dts, bare.dts);
    EXPECT_EQ(g_LastSent.duration, bare.duration);
    EXPECT_EQ(g_LastSent.pos, bare.pos);
    EXPECT_EQ(g_LastSent.stream_index, bare.stream_index);
    EXPECT_EQ(g_LastSent.flags, bare.flags);
    EXPECT_EQ(g_LastSent.buf, nullptr);
    EXPECT_EQ(g_LastSent.side_data, nullptr);
    EXPECT_EQ(g_LastSent.side_data_elems, 0);
}

TEST_F(DecodeScript, AResentPacketsPictureReplacesTheOneBefore) {
    EXPECT_EQ(Run({Send(kAgain), Picture(5), Receive(kAgain), Send(0), Picture(6), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), 6);
}

TEST_F(DecodeScript, APacketIsSentAgainWithoutLimit) {
    std::deque<Step> steps;
    for (int i = 0; i < 1000; ++i) {
        steps.push_back(Send(kAgain));
        steps.push_back(Receive(kAgain));
    }
    steps.push_back(Send(0));
    steps.push_back(Receive(kAgain));
    EXPECT_EQ(Run(steps), 3);
    EXPECT_EQ(g_Sent.size(), 1001U);
}

TEST_F(DecodeScript, AnErrorOfTheSecondAttemptEndsTheCall) {
    EXPECT_EQ(Run({Send(kAgain), Picture(5), Receive(kAgain), Send(AVERROR(ENOMEM))}), 2);
    EXPECT_EQ(m_Frame, nullptr);
}

TEST_F(DecodeScript, TheEndFromSendingIsNoFailure) {
    EXPECT_EQ(Run({Send(kEnd), Picture(5), Receive(kEnd)}), 0);
    EXPECT_EQ(Value(), 5);
    EXPECT_EQ(Run({Send(kEnd), Receive(kEnd)}), 3);
    EXPECT_EQ(Run({Send(kEnd), Receive(kAgain)}), 3);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(DecodeScript, ASendErrorOfASliceHasItsNumberAndText) {
    EXPECT_EQ(Run({Send(AVERROR(ENOMEM))}), 2);
    EXPECT_EQ(Run({Send(-4321)}), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                                 "CVideoDecoder::DecodeImpl: Error submitting the packet to the video "
                                                 "decoder:  err: (-12) Cannot allocate memory"),
                                          Ffmpeg(Severity::Error,
                                                 "CVideoDecoder::DecodeImpl: Error submitting the packet to the video "
                                                 "decoder:  err: (-4321) Error number -4321 occurred")));
}

TEST_F(DecodeScript, ASendErrorOfNullDataIsServiceData) {
    g_Steps = {Send(AVERROR(EINVAL))};
    EXPECT_EQ((*m_Decoder)->Decode(nullptr, 100, m_Frame), 3);
    Use(kH265);
    g_Steps = {Send(AVERROR(EINVAL))};
    EXPECT_EQ((*m_Decoder)->Decode(nullptr, 100, m_Frame), 2);
}

// The low five bits of the byte behind the first start code decide, for every codec but H.265.
TEST_F(DecodeScript, OnlyTheFirstStartCodeIsRead) {
    struct Start {
        AccessUnit bytes;
        bool slice;
    };
    std::vector<Start> starts = {
        {{0, 0, 1}, false},
        {{0, 0, 0, 1}, false},
        {{0, 0, 0, 1, 1}, true},
        {{0, 0, 1, 1}, true},
        {{1, 0, 1, 1}, false},
        {{0, 1, 1, 1}, false},
        {{0, 0, 2, 1, 1}, false},
        {{0, 0, 0, 2, 1}, false},
        {{0, 0, 0, 0, 1, 1}, false},
        {{0, 0, 1, 9, 0, 0, 1, 5}, false},
        {{0, 0, 1, 5, 0, 0, 1, 9}, true},
    };
    for (int header = 0; header < 256; ++header) {
        const bool slice = (header & 31) >= 1 && (header & 31) <= 5;
        starts.push_back({{0, 0, 1, static_cast<unsigned char>(header)}, slice});
        starts.push_back({{0, 0, 0, 1, static_cast<unsigned char>(header)}, slice});
    }
    for (const DecoderCodec codec : {kH264, kMjpeg, kH265}) {
        Use(codec);
        for (const Start& start : starts) {
            m_Packet = start.bytes;
            const bool error = start.slice || codec.id == AV_CODEC_ID_HEVC;
            EXPECT_EQ(Run({Send(AVERROR_INVALIDDATA)}), error ? 2 : 3) << testing::PrintToString(start.bytes);
        }
    }
}

// --- Receiving.

TEST_F(DecodeScript, OfTwoPicturesTheLastIsDelivered) {
    EXPECT_EQ(Run({Send(0), Picture(5), Picture(6), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), 6);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

// From FFmpeg 7 on all that waits comes out at the end of a sequence: the second picture is the next call's.
TEST_F(DecodeScript, OfTwoPicturesOfH265TheSecondWaitsOnFfmpeg7) {
    Use(kH265);
    EXPECT_EQ(Run({Send(0), Picture(5), Picture(6), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), IsFfmpeg7() ? 5 : 6);
    EXPECT_EQ(Run({Send(0), Receive(kAgain)}), IsFfmpeg7() ? 0 : 3);
    EXPECT_EQ(Value(), 6);
    EXPECT_EQ(Run({Send(0), Receive(kAgain)}), 3);
}

TEST_F(DecodeScript, AnErrorCostsOneOfThePicturesOfH265ThatWaitOnFfmpeg7) {
    Use(kH265);
    EXPECT_EQ(Run({Send(0), Picture(5), Picture(6), Receive(AVERROR_INVALIDDATA)}), 2);
    EXPECT_EQ(Run({Send(AVERROR_INVALIDDATA)}), 2);
    EXPECT_EQ(m_Frame, nullptr);
    EXPECT_EQ(Run({Send(0), Receive(kAgain)}), IsFfmpeg7() ? 0 : 3);
    if (IsFfmpeg7()) {
        EXPECT_EQ(Value(), 6);
    }
}

// On FFmpeg 7 the first of two is delivered and the other waits: the packet that fails costs it.
TEST_F(DecodeScript, PicturesOfH265DoNotPileUpWherePacketsFail) {
    Use(kH265);
    for (const int value : {10, 20, 30}) {
        EXPECT_EQ(Run({Send(0), Picture(value), Picture(value + 1), Receive(kAgain)}), 0);
        EXPECT_EQ(Value(), IsFfmpeg7() ? value : value + 1);
        EXPECT_EQ(Run({Send(AVERROR_INVALIDDATA)}), 2);
    }
    EXPECT_EQ(Run({Send(0), Receive(kAgain)}), 3);
}

TEST_F(DecodeScript, OfTwoPicturesARateLimitKeepsTheFirst) {
    EXPECT_EQ(Run({Send(0), Picture(5), Picture(6), Receive(kAgain)}, 100, 29), 0);
    EXPECT_EQ(Value(), 5);
    EXPECT_EQ(m_Frame->m_nTimestamp, 100);
}

TEST_F(DecodeScript, ChangedInputDeliversThePictureAndEndsReceiving) {
    EXPECT_EQ(Run({Send(0), Picture(5, kChanged)}), 0);
    EXPECT_EQ(Value(), 5);
    EXPECT_EQ(Run({Send(0), Picture(6), Picture(7, kChanged)}), 0);
    EXPECT_EQ(Value(), 7);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(DecodeScript, ChangedInputOfAPacketWithoutRoomSendsItAgain) {
    EXPECT_EQ(Run({Send(kAgain), Picture(5, kChanged), Send(0), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), 5);
}

TEST_F(DecodeScript, ChangedInputThatTheRateLimitDropsEndsReceivingToo) {
    EXPECT_EQ(Run({Send(0), Picture(5, kChanged)}, 10, 29), 3);
}

TEST_F(DecodeScript, APositiveResultReceivesAgain) {
    EXPECT_EQ(Run({Send(0), Receive(1), Receive(77), Picture(5), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), 5);
    EXPECT_EQ(Run({Send(0), Picture(9, 1), Receive(kAgain)}), 3);
    EXPECT_EQ(Value(), 5);
}

TEST_F(DecodeScript, AnErrorInReceivingEndsTheCall) {
    EXPECT_EQ(Run({Send(0), Receive(AVERROR(EINVAL))}), 2);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical, "CVideoDecoder::Decode: video decode error: Invalid argument")));
    EXPECT_EQ(m_Frame, nullptr);
}

TEST_F(DecodeScript, AnErrorInReceivingDropsThePictureBefore) {
    ASSERT_EQ(Run({Send(0), Picture(4), Receive(kAgain)}), 0);
    EXPECT_EQ(Run({Send(0), Picture(5), Receive(AVERROR_INVALIDDATA)}), 2);
    EXPECT_EQ(Value(), 4);
    EXPECT_EQ(Run({Send(0), Picture(6), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), 6);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                                 "CVideoDecoder::Decode: video decode error: Invalid data found when "
                                                 "processing input")));
}

TEST_F(DecodeScript, AnErrorInReceivingAPacketWithoutRoomDoesNotSendItAgain) {
    EXPECT_EQ(Run({Send(kAgain), Receive(AVERROR_INVALIDDATA)}), 2);
    EXPECT_EQ(g_Sent.size(), 1U);
}

// --- Copying.

TEST_F(DecodeScript, AFailingCopyOfAPictureThatFitsHasOneLine) {
    g_FailingCopy = AVERROR(EIO);
    EXPECT_EQ(Run({Send(0), Picture(5)}), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "failed to copy frame: Input/output error")));
    EXPECT_EQ(m_Frame, nullptr);
    g_FailingCopy.reset();
    EXPECT_EQ(Run({Send(0), Picture(6), Receive(kAgain)}), 0);
    EXPECT_EQ(Value(), 6);
}

TEST_F(DecodeScript, ACopyThatCannotBeSizedSaysSo) {
    Use(kH264, kAnyFormat);
    g_Format = AV_PIX_FMT_VAAPI;  // a picture on a device
    EXPECT_EQ(Run({Send(0), Picture(5)}), 2);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical, "failed to copy frame: Invalid argument"),
                            Ffmpeg(Severity::Critical,
                                   "note that ffmpeg expects: -22 bytes in the output buffer, frame pool supplies "
                                   "384")));
}

TEST_F(DecodeScript, AFailingCopyDropsThePictureBefore) {
    ASSERT_EQ(Run({Send(0), Picture(4), Receive(kAgain)}), 0);
    EXPECT_EQ(Run({Send(0), Picture(5), PictureOfSize(6, 32, 16)}), 5);
    EXPECT_EQ(Value(), 4);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                                 "CVideoDecoder::CopyOutFrame: error w:h changed from 16:16 to "
                                                 "32:16")));
}

TEST_F(DecodeScript, OneDimensionIsEnoughForARefusal) {
    EXPECT_EQ(Run({Send(0), PictureOfSize(5, 16, 18)}), 5);
    EXPECT_EQ(Run({Send(0), PictureOfSize(5, 18, 16)}), 5);
    EXPECT_EQ(m_Frame, nullptr);
    EXPECT_THAT(
        m_Log.Take(),
        ElementsAre(Ffmpeg(Severity::Critical, "CVideoDecoder::CopyOutFrame: error w:h changed from 16:16 to 16:18"),
                    Ffmpeg(Severity::Critical, "CVideoDecoder::CopyOutFrame: error w:h changed from 16:16 to 18:16")));
}

TEST_F(DecodeScript, FailedCallsGiveTheirFramesBack) {
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(Run({Send(0), Receive(AVERROR_INVALIDDATA)}), 2);
        ASSERT_EQ(Run({Send(AVERROR_INVALIDDATA)}), 2);
        ASSERT_EQ(Run({Send(0), PictureOfSize(6, 32, 16)}), 5);
        g_FailingCopy = AVERROR(EIO);
        ASSERT_EQ(Run({Send(0), Picture(5)}), 2);
        g_FailingCopy.reset();
    }
}

// --- Changes of size.

TEST_F(DecodeScript, APacketMayChangeTheSizeBetweenItsPictures) {
    (*m_Decoder)->AllowResolutionChange();
    EXPECT_EQ(Run({Send(0), Picture(5), PictureOfSize(6, 33, 17), Receive(kAgain)}), 0);
    EXPECT_EQ(m_Frame->m_nWidth, 33U);
    EXPECT_EQ(m_Frame->m_nHeight, 17U);
    EXPECT_EQ(Value(), 6);
    EXPECT_EQ(Run({Send(0), PictureOfSize(7, 33, 17), Picture(8), PictureOfSize(9, 2, 2), Receive(kAgain)}), 0);
    EXPECT_EQ(m_Frame->m_nWidth, 2U);
    EXPECT_EQ(Value(), 9);
}

// But for H.265, whose decoder has run ahead of the picture.
TEST_F(DecodeScript, AChangeIsWrittenIntoFfmpegsContext) {
    for (const DecoderCodec codec : {kH264, kMjpeg, kH265}) {
        Use(codec);
        (*m_Decoder)->AllowResolutionChange();
        ASSERT_EQ(Run({Send(0), PictureOfSize(5, 32, 18), Receive(kAgain)}), 0);
        ASSERT_EQ(Run({Send(0), PictureOfSize(6, 32, 18), Receive(kAgain)}), 0);
        const bool written = codec.id != AV_CODEC_ID_HEVC;
        EXPECT_THAT(g_ContextSize, ElementsAre(written ? 32 : 16, written ? 18 : 16)) << codec.name;
    }
}

TEST_F(DecodeScript, ARateLimitRunsOnAcrossAChange) {
    (*m_Decoder)->AllowResolutionChange();
    LogCapture log(Severity::Info);
    ASSERT_EQ(Run({Send(0), Picture(5), Receive(kAgain)}, 100, 29), 0);
    EXPECT_EQ(Run({Send(0), PictureOfSize(6, 32, 16), Receive(kAgain)}, 132, 29), 3);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(Run({Send(0), PictureOfSize(7, 32, 16), Receive(kAgain)}, 133, 29), 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info,
                                   "CVideoDecoder::Decode: resolution changed from 16x16 to 32x16, reiniting the "
                                   "pool")));
    EXPECT_EQ(m_Frame->m_nTimestamp, 133);
    EXPECT_EQ(Run({Send(0), PictureOfSize(8, 32, 16), Receive(kAgain)}, 165, 29), 3);
    EXPECT_EQ(Value(), 7);
    EXPECT_EQ(Run({Send(0), PictureOfSize(9, 32, 16), Receive(kAgain)}, 166, 29), 0);
    EXPECT_EQ(Value(), 9);
}

TEST_F(DecodeScript, OneDimensionIsEnoughForAChange) {
    (*m_Decoder)->AllowResolutionChange();
    LogCapture log(Severity::Info);
    EXPECT_EQ(Run({Send(0), PictureOfSize(6, 16, 18), Receive(kAgain)}), 0);
    EXPECT_EQ(Run({Send(0), PictureOfSize(6, 18, 18), Receive(kAgain)}), 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info,
                                   "CVideoDecoder::Decode: resolution changed from 16x16 to 16x18, reiniting the pool"),
                            Ffmpeg(Severity::Info,
                                   "CVideoDecoder::Decode: resolution changed from 16x18 to 18x18, reiniting the "
                                   "pool")));
}

TEST_F(DecodeScript, ASizeThatNoFrameCanBeMadeForEndsTheCall) {
    Use(kH264, kBgra);
    g_Format = AV_PIX_FMT_BGRA;
    (*m_Decoder)->AllowResolutionChange();
    // 65536 x 65536 x 4 bytes are 0 in 32 bits.
    EXPECT_EQ(Run({Send(0), PictureOfSize(5, 65536, 65536)}), 4);
    EXPECT_EQ(Run({}), 4);
    EXPECT_EQ(m_Frame, nullptr);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical,
                                   "CVideoDecoder::Decode: frame pool is out of frames after resolution change!"),
                            Ffmpeg(Severity::Critical, "CVideoDecoder::Decode: frame pool is out of frames!")));
}

// --- The statistics. A period ends with the call that starts 20 seconds after the last one did.

class DecodeStatistics : public DecodeScript {
protected:
    void EndPeriod() {
        m_Statistics.Take();
        g_NowMs += 20000;
        ASSERT_EQ((*m_Decoder)->Decode(m_Packet.data(), 0, m_Frame), 2);
    }

    LoggedLine Counted(const std::string& fps, const std::string& average, const std::string& calls) {
        return Ffmpeg(Severity::Info, "CVideoDecoder::StatHelper: fps: " + fps + ", t: av: " + average +
                                          ", max: 0, trig: 0 in " + calls);
    }

    LogCapture m_Statistics{Severity::Info};
};

TEST_F(DecodeStatistics, ADroppedPictureCounts) {
    ASSERT_EQ(Run({Send(0), Picture(5), Receive(kAgain)}, 10, 29), 3);
    ASSERT_EQ(Run({Send(0), Picture(5), Receive(kAgain)}, 40, 29), 0);
    ASSERT_EQ(Run({Send(0), PictureOfSize(5, 2, 2)}, 80, 29), 5);
    ASSERT_EQ(Run({Send(0), Receive(kAgain)}), 3);
    ASSERT_EQ(Run({Send(AVERROR(ENOMEM))}), 2);
    ASSERT_EQ(Run({Send(0), Receive(AVERROR(ENOMEM))}), 2);
    EndPeriod();
    EXPECT_THAT(m_Statistics.Take(),
                ElementsAre(Ffmpeg(Severity::Error, "CVideoDecoder::Decode: Zero input len!"), Counted("0", "0", "3")));
}

}  // namespace
