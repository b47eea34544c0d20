#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "common/log_capture.h"
#include "common/test_media.h"
#include "front/registry/ffmpeg_registry.h"
#include "front/registry/picture_size.h"
#include "video_decoder/access_units.h"
#include "video_decoder/clock_script.h"
#include "video_decoder/test_decoder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

// What FFmpeg shall answer, and what it was asked, while a script lives.
class OpeningScript {
public:
    OpeningScript() { s_Current = this; }
    ~OpeningScript() { s_Current = nullptr; }
    static OpeningScript* Current() { return s_Current; }

    bool noContext = false;
    bool noFrame = false;
    int openResult = 0;  // negative: what avcodec_open2 fails with

    // The fields of the last context at the door of avcodec_open2.
    AVCodecContext asked{};
    bool optionsGiven = false;
    std::vector<std::string> calls;
    std::vector<bool> lockHeld;

    void Note(const char* call);

private:
    static OpeningScript* s_Current;
};

OpeningScript* OpeningScript::s_Current = nullptr;

// The library lock is recursive, so only another thread can tell.
bool LibraryLockIsHeldElsewhere() {
    return std::async(std::launch::async,
                      [] {
                          const bool taken = GetMainFfmpegCodecLib()->TryLock();
                          if (taken) {
                              GetMainFfmpegCodecLib()->Unlock();
                          }
                          return !taken;
                      })
        .get();
}

void OpeningScript::Note(const char* call) {
    calls.emplace_back(call);
    lockHeld.push_back(LibraryLockIsHeldElsewhere());
}

}  // namespace

extern "C" {

AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);
AVCodecContext* __wrap_avcodec_alloc_context3(const AVCodec* codec) {
    OpeningScript* script = OpeningScript::Current();
    if (script != nullptr) {
        script->Note("alloc_context");
        if (script->noContext) {
            return nullptr;
        }
    }
    return __real_avcodec_alloc_context3(codec);
}

int __real_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options);
int __wrap_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
    OpeningScript* script = OpeningScript::Current();
    if (script != nullptr) {
        script->Note("open");
        script->asked = *context;
        script->optionsGiven = options != nullptr;
        if (script->openResult < 0) {
            av_freep(&context->priv_data);  // as FFmpeg does before it fails
            return script->openResult;
        }
    }
    return __real_avcodec_open2(context, codec, options);
}

AVFrame* __real_av_frame_alloc();
AVFrame* __wrap_av_frame_alloc() {
    OpeningScript* script = OpeningScript::Current();
    if (script != nullptr) {
        script->Note("frame_alloc");
        if (script->noFrame) {
            return nullptr;
        }
    }
    return __real_av_frame_alloc();
}

int __real_avcodec_close(AVCodecContext* context);
int __wrap_avcodec_close(AVCodecContext* context) {
    if (OpeningScript* script = OpeningScript::Current()) {
        script->Note("close");
    }
    return __real_avcodec_close(context);
}

void __real_av_frame_free(AVFrame** frame);
void __wrap_av_frame_free(AVFrame** frame) {
    if (OpeningScript* script = OpeningScript::Current()) {
        script->Note("frame_free");
    }
    __real_av_frame_free(frame);
}

int __real_avcodec_send_packet(AVCodecContext* context, const AVPacket* packet);
int __wrap_avcodec_send_packet(AVCodecContext* context, const AVPacket* packet) {
    if (OpeningScript* script = OpeningScript::Current()) {
        script->calls.emplace_back("send_packet");
    }
    return __real_avcodec_send_packet(context, packet);
}

}  // extern "C"

namespace {

LoggedLine CreateLine(const std::string& rest) {
    return Ffmpeg(Severity::Info, "CVideoDecoder::CreateDecoder: " + rest);
}

const LoggedLine kMjpegLine = CreateLine("mjpeg width = 320 height = 240");
const LoggedLine kCreateFirst = Ffmpeg(Severity::Error, "CVideoDecoder::Decode: You should create first!");
const LoggedLine kOutOfFrames = Ffmpeg(Severity::Critical, "CVideoDecoder::Decode: frame pool is out of frames!");

constexpr DecoderFormat kJpeg420{CSP_YUV420P, AV_PIX_FMT_YUVJ420P};

// 50 pictures of 320x240, each in a packet of its own.
class VideoDecoderLifecycle : public testing::Test {
protected:
    VideoDecoderLifecycle() : m_Units(AccessUnits(Clip("mjpeg.avi"))) {}

    int DecodeOne() { return m_Decoder.Decode(m_Units[0], m_Frame); }

    std::vector<AccessUnit> m_Units;
    TestDecoder m_Decoder{kMjpeg, kJpeg420};
    Frame m_Frame;
    LogCapture m_Log;
};

TEST_F(VideoDecoderLifecycle, TellsItsColorSpace) {
    EXPECT_EQ(m_Decoder->GetSupportedColorSpaces(), CSP_YUV420P);
    EXPECT_EQ(m_Decoder->GetOutputColorSpace(), CSP_YUV420P);
    CVideoDecoder other(AV_CODEC_ID_H264, "h264", 12345, AV_PIX_FMT_NONE);
    EXPECT_EQ(other.GetSupportedColorSpaces(), 12345U);
    EXPECT_EQ(other.GetOutputColorSpace(), 12345U);
}

TEST_F(VideoDecoderLifecycle, CreatesAndDecodes) {
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kMjpegLine));
    EXPECT_EQ(DecodeOne(), 0);
    EXPECT_EQ(m_Frame->m_nWidth, 320U);
    EXPECT_EQ(m_Frame->m_nHeight, 240U);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(VideoDecoderLifecycle, FillsTheContextAndNothingElse) {
    OpeningScript script;
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(script.asked.codec_id, AV_CODEC_ID_MJPEG);
    EXPECT_EQ(script.asked.codec_type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(script.asked.pix_fmt, AV_PIX_FMT_YUVJ420P);
    EXPECT_EQ(script.asked.opaque, m_Decoder.operator->());
    EXPECT_EQ(script.asked.width, 320);
    EXPECT_EQ(script.asked.height, 240);
    EXPECT_FALSE(script.optionsGiven);

    AVCodecContext* untouched = __real_avcodec_alloc_context3(avcodec_find_decoder_by_name("mjpeg"));
    EXPECT_EQ(script.asked.thread_count, untouched->thread_count);
    EXPECT_EQ(script.asked.flags, untouched->flags);
    EXPECT_EQ(script.asked.flags2, untouched->flags2);
    EXPECT_EQ(script.asked.extradata, nullptr);
    avcodec_free_context(&untouched);
}

TEST_F(VideoDecoderLifecycle, OpensAndClosesUnderTheLibraryLock) {
    OpeningScript script;
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_THAT(script.calls, ElementsAre("alloc_context", "open", "frame_alloc"));
    EXPECT_THAT(script.lockHeld, ElementsAre(true, true, true));
    script.calls.clear();
    script.lockHeld.clear();
    m_Decoder->DestroyDecoder();
    EXPECT_THAT(script.calls, ElementsAre("close", "frame_free"));
    EXPECT_THAT(script.lockHeld, ElementsAre(true, true));
    EXPECT_FALSE(LibraryLockIsHeldElsewhere());
}

TEST_F(VideoDecoderLifecycle, DestroyWithoutTheLockLeavesItToTheCaller) {
    OpeningScript script;
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    script.lockHeld.clear();
    m_Decoder->Destroy(0);
    EXPECT_THAT(script.lockHeld, ElementsAre(false, false));
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    script.lockHeld.clear();
    m_Decoder->Destroy(7);
    EXPECT_THAT(script.lockHeld, ElementsAre(true, true));
}

TEST_F(VideoDecoderLifecycle, WritesItsFirstLineBeforeItWaitsForTheLock) {
    std::promise<void> written;
    uvqlog::SetSink([&written](const uvqlog::LogEvent&) { written.set_value(); });
    GetMainFfmpegCodecLib()->Lock();
    std::thread creator([this] { EXPECT_EQ(m_Decoder.Create(320, 240), 1); });
    written.get_future().wait();  // for ever, if the lock came first
    GetMainFfmpegCodecLib()->Unlock();
    creator.join();
    uvqlog::SetSink(nullptr);
}

TEST_F(VideoDecoderLifecycle, SecondCreateIsRefusedAndTheDecoderGoesOn) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    m_Log.Take();
    OpeningScript script;
    EXPECT_EQ(m_Decoder->CreateDecoder(CSP_RGB24, 640, 480, nullptr), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mjpeg width = 640 height = 480"), CreateLine("Already created!")));
    EXPECT_THAT(script.calls, IsEmpty());
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, RefusesAnotherColorSpace) {
    for (const unsigned int colorSpace : {0U, CSP_YUV420P_ALT, CSP_RGB24, CSP_YUV420P | CSP_RGB24}) {
        EXPECT_EQ(m_Decoder->CreateDecoder(colorSpace, 320, 240, nullptr), 0);
        EXPECT_THAT(
            m_Log.Take(),
            ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical, "CVideoDecoder::CreateDecoder: unexpected colorspace: " +
                                                                   std::to_string(colorSpace) + " vs. supported 2")));
    }
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
}

TEST_F(VideoDecoderLifecycle, SaysWhatItDidNotFind) {
    TestDecoder decoder({AV_CODEC_ID_H264, "h265000"});
    EXPECT_EQ(decoder.Create(320, 240), 0);
    EXPECT_THAT(
        m_Log.Take(),
        ElementsAre(
            CreateLine("h265000 width = 320 height = 240"),
            Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = h265000, Encoder = 0"),
            Ffmpeg(Severity::Critical,
                   "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = h265000")));
    Frame frame;
    EXPECT_EQ(decoder.Decode(m_Units[0], frame), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
}

TEST_F(VideoDecoderLifecycle, CodecOfAnotherIdIsNotFoundEither) {
    TestDecoder decoder({AV_CODEC_ID_H264, "hevc"});
    EXPECT_EQ(decoder.Create(320, 240), 0);
    EXPECT_EQ(m_Log.Take().back(),
              Ffmpeg(Severity::Critical,
                     "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = hevc"));
}

TEST_F(VideoDecoderLifecycle, NullNameIsAnEmptyOne) {
    TestDecoder decoder({AV_CODEC_ID_H264, nullptr});
    EXPECT_EQ(decoder.Create(1, 2), 0);
    EXPECT_THAT(
        m_Log.Take(),
        ElementsAre(CreateLine(" width = 1 height = 2"),
                    Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = , Encoder = 0"),
                    Ffmpeg(Severity::Critical,
                           "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = ")));
}

TEST_F(VideoDecoderLifecycle, NameOf128BytesHasNoTerminatorAndALongerOneIsCut) {
    for (const std::size_t length : {127U, 128U, 129U, 1000U}) {
        const std::string name(length, 'n');
        const std::string kept(std::min<std::size_t>(length, 128), 'n');
        TestDecoder decoder({AV_CODEC_ID_H264, name.c_str()}, {0x6f6f6f6f, AV_PIX_FMT_YUV420P});
        EXPECT_EQ(decoder.Create(1, 2), 0);
        EXPECT_THAT(m_Log.Take(),
                    ElementsAre(CreateLine(kept + " width = 1 height = 2"),
                                Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = " +
                                                            kept + ", Encoder = 0"),
                                Ffmpeg(Severity::Critical,
                                       "CVideoDecoder::CreateDecoder: find decoder failed! CodecId "
                                       "= 27, CodecName = " +
                                           kept)));
    }
}

TEST_F(VideoDecoderLifecycle, SurvivesAContextThatIsNotAllocated) {
    {
        OpeningScript script;
        script.noContext = true;
        EXPECT_EQ(m_Decoder.Create(320, 240), 0);
        EXPECT_THAT(script.calls, testing::Not(testing::Contains("close")));
    }
    EXPECT_THAT(m_Log.Take(), ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical,
                                                             "CVideoDecoder::CreateDecoder: alloc context error!")));
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, SurvivesAContextThatDoesNotOpen) {
    {
        OpeningScript script;
        script.openResult = -1234;
        EXPECT_EQ(m_Decoder.Create(320, 240), 0);
        EXPECT_THAT(script.calls, testing::Not(testing::Contains("close")));
    }
    EXPECT_THAT(
        m_Log.Take(),
        ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical, "CVideoDecoder::OpenEncoder: avcodec open error = -1234")));
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, SurvivesAFrameThatIsNotAllocated) {
    {
        OpeningScript script;
        script.noFrame = true;
        EXPECT_EQ(m_Decoder.Create(320, 240), 0);
        EXPECT_THAT(script.calls, testing::Contains("close"));
    }
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical, "CVideoEncoder::CreateDecoder:Frame alloc error!")));
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(DecodeOne(), 0);
}

// A decoder that was open before must not be closed a second time.
TEST_F(VideoDecoderLifecycle, FailureAfterADestroyClosesNothing) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    m_Decoder->DestroyDecoder();
    OpeningScript script;
    script.openResult = -1;
    EXPECT_EQ(m_Decoder.Create(320, 240), 0);
    EXPECT_THAT(script.calls, testing::Not(testing::Contains("close")));
}

TEST_F(VideoDecoderLifecycle, FfmpegRefusesPicturesThatAreTooLarge) {
    const std::string critical = "CVideoDecoder::OpenEncoder: avcodec open error = -22";
    EXPECT_EQ(m_Decoder.Create(16256, 16256), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mjpeg width = 16256 height = 16256"), Ffmpeg(Severity::Critical, critical)));
    EXPECT_EQ(m_Decoder.Create(4294967295U, 1), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mjpeg width = 4294967295 height = 1"), Ffmpeg(Severity::Critical, critical)));
    EXPECT_EQ(m_Decoder.Create(16255, 16256), 1);
}

TEST_F(VideoDecoderLifecycle, SizeZeroOpensAndHasNoFrames) {
    const std::pair<unsigned int, unsigned int> sizes[] = {{640, 0}, {0, 480}, {0, 0}};
    for (const auto& [width, height] : sizes) {
        EXPECT_EQ(m_Decoder.Create(width, height), 1);
        m_Log.Take();
        OpeningScript script;
        EXPECT_EQ(DecodeOne(), 4);
        EXPECT_THAT(m_Log.Take(), ElementsAre(kOutOfFrames));
        EXPECT_THAT(script.calls, IsEmpty());
        m_Decoder->DestroyDecoder();
    }
}

TEST_F(VideoDecoderLifecycle, Nv12OpensAndHasNoFrames) {
    TestDecoder decoder(kH264, {CSP_NV12, AV_PIX_FMT_NV12});
    ASSERT_EQ(decoder.Create(320, 240), 1);
    m_Log.Take();
    Frame frame;
    EXPECT_EQ(decoder.Decode(m_Units[0], frame), 4);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kOutOfFrames));
}

TEST_F(VideoDecoderLifecycle, FlvSaysThatItDecodesIntoAnotherFormat) {
    const auto notice = [](const std::string& wanted) {
        return Ffmpeg(
            Severity::Error,
            "CVideoDecoder::CreateDecoder: decoder out pixFormat = yuv420p not equal m_nFfmpegPixFmt = " + wanted);
    };
    const LoggedLine flvLine = CreateLine("flv width = 320 height = 240");
    TestDecoder rgb(kFlv1, kRgb24);
    EXPECT_EQ(rgb.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(flvLine, notice("rgb24")));
    TestDecoder any(kFlv1, kAnyFormat);
    EXPECT_EQ(any.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(flvLine, notice("none")));
    TestDecoder yuv(kFlv1, kYuv420);
    EXPECT_EQ(yuv.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(flvLine));
}

TEST_F(VideoDecoderLifecycle, OtherCodecsKeepTheFormatThatWasPreset) {
    for (const DecoderCodec codec : {kH264, kH265, kMpeg4, kMjpeg, kH263}) {
        for (const DecoderFormat format : {kAnyFormat, kYuv420, kRgb24, kBgra}) {
            TestDecoder decoder(codec, format);
            EXPECT_EQ(decoder.Create(320, 240), 1);
            EXPECT_THAT(m_Log.Take(), ElementsAre(CreateLine(std::string(codec.name) + " width = 320 height = 240")));
        }
    }
}

TEST_F(VideoDecoderLifecycle, DestroyIsSafeAtAnyTime) {
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    m_Decoder->DestroyDecoder();
    m_Decoder->DestroyDecoder();
    m_Log.Take();
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
}

TEST_F(VideoDecoderLifecycle, CanBeCreatedAnewWithAnotherSize) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    ASSERT_EQ(DecodeOne(), 0);
    const Frame old = m_Frame;
    const std::string hash = HashOf(*old);
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(33, 17), 1);
    std::vector<AccessUnit> odd = AccessUnits(Clip("mjpeg_odd.avi"));
    EXPECT_EQ(m_Decoder.Decode(odd[0], m_Frame), 0);
    EXPECT_EQ(m_Frame->m_nWidth, 33U);
    EXPECT_EQ(m_Frame->m_nHeight, 17U);
    EXPECT_EQ(HashOf(*old), hash);
}

TEST_F(VideoDecoderLifecycle, CreateForgetsTheLastTimestamp) {
    constexpr unsigned int kLimit = 29;  // 33 ms between pictures
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    ASSERT_EQ(m_Decoder.Decode(m_Units[0], m_Frame, 100000, kLimit), 0);
    ASSERT_EQ(m_Decoder.Decode(m_Units[1], m_Frame, 40, kLimit), 3);
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(m_Decoder.Decode(m_Units[0], m_Frame, 32, kLimit), 3);
    EXPECT_EQ(m_Decoder.Decode(m_Units[1], m_Frame, 33, kLimit), 0);
}

TEST_F(VideoDecoderLifecycle, AllowedResolutionChangeStaysAllowed) {
    EXPECT_TRUE(m_Decoder->AllowResolutionChange());
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(m_Decoder.Create(64, 64), 1);
        EXPECT_EQ(DecodeOne(), 0);
        EXPECT_EQ(m_Frame->m_nWidth, 320U);
        m_Decoder->DestroyDecoder();
    }
}

TEST_F(VideoDecoderLifecycle, ResolutionChangeIsForbiddenAtFirst) {
    ASSERT_EQ(m_Decoder.Create(64, 64), 1);
    EXPECT_EQ(DecodeOne(), 5);
    EXPECT_TRUE(m_Decoder->AllowResolutionChange());
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, ResolutionHasChangedComparesWithTheLastPicture) {
    EXPECT_FALSE(m_Decoder->ResolutionHasChanged());
    ASSERT_EQ(m_Decoder.Create(0, 0), 1);
    EXPECT_FALSE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 0), 1);
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(0, 240), 1);
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    ASSERT_EQ(DecodeOne(), 0);
    // FFmpeg has emptied its picture on the attempt to get another.
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
    m_Decoder->DestroyDecoder();
    EXPECT_TRUE(m_Decoder->ResolutionHasChanged());
}

TEST_F(VideoDecoderLifecycle, InitFramePoolChangesNothingWhileItServes) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    std::vector<Frame> frames(8);
    for (Frame& frame : frames) {
        ASSERT_TRUE(m_Decoder->GetFrameFromPool(frame));
    }
    m_Decoder->InitFramePool(nullptr);
    EXPECT_FALSE(m_Decoder->GetFrameFromPool(m_Frame));
}

struct Refusal : CFrameBufferStreamCallback {
    bool WaitForFreeFrame() override {
        ++calls;
        return false;
    }
    int calls = 0;
};

TEST_F(VideoDecoderLifecycle, CallbackOfCreateServesThePool) {
    Refusal refusal;
    ASSERT_EQ(m_Decoder.Create(320, 240, &refusal), 1);
    std::vector<Frame> held(8);
    for (Frame& frame : held) {
        ASSERT_EQ(m_Decoder.Decode(m_Units[0], frame), 0);
    }
    m_Log.Take();
    EXPECT_EQ(DecodeOne(), 4);
    EXPECT_EQ(refusal.calls, 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kOutOfFrames));
    held.pop_back();
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, CallbackOfCreateServesThePoolOfAnotherSizeToo) {
    Refusal refusal;
    m_Decoder->AllowResolutionChange();
    ASSERT_EQ(m_Decoder.Create(64, 64, &refusal), 1);
    std::vector<Frame> held(8);
    for (Frame& frame : held) {
        ASSERT_EQ(m_Decoder.Decode(m_Units[0], frame), 0);
    }
    EXPECT_EQ(refusal.calls, 0);
    EXPECT_EQ(DecodeOne(), 4);
    EXPECT_EQ(refusal.calls, 1);
}

TEST_F(VideoDecoderLifecycle, DeleteLeavesPicturesValid) {
    CVideoDecoderBase* decoder = new CVideoDecoder(AV_CODEC_ID_MJPEG, "mjpeg", CSP_YUV420P, AV_PIX_FMT_YUVJ420P);
    ASSERT_EQ(decoder->CreateDecoder(CSP_YUV420P, 320, 240, nullptr), 1);
    ASSERT_EQ(decoder->Decode(m_Units[0].data(), static_cast<int>(m_Units[0].size()), m_Frame), 0);
    const std::string hash = HashOf(*m_Frame);
    decoder->DestroyDecoder();
    decoder->Delete();
    EXPECT_EQ(HashOf(*m_Frame), hash);
}

TEST_F(VideoDecoderLifecycle, StatisticsSurviveDestroyAndCreate) {
    ClockScript clock(0);
    TestDecoder decoder(kMjpeg, kJpeg420);
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(decoder.Create(320, 240), 1);
        EXPECT_EQ(decoder.Decode(m_Units[0], m_Frame), 0);
        decoder->DestroyDecoder();
    }
    m_Log.Take();
    clock.now = 20000;
    EXPECT_EQ(decoder.Decode(m_Units[0], m_Frame), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst, Ffmpeg(Severity::Info,
                                                               "CVideoDecoder::StatHelper: fps: 0, t: av: 0, max: 0, "
                                                               "trig: 0 in 2")));
}

}  // namespace
