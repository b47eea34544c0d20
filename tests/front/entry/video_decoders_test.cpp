#include <gmock/gmock.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "common/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {
bool g_NoName = false;
}  // namespace

// GetFFmpegVideoDecoderName(int)
extern "C" const char* __real__Z25GetFFmpegVideoDecoderNamei(int id);
extern "C" const char* __wrap__Z25GetFFmpegVideoDecoderNamei(int id) {
    return g_NoName ? nullptr : __real__Z25GetFFmpegVideoDecoderNamei(id);
}

namespace {

// Scripts tables that have lost a name.
struct NoNames {
    NoNames() { g_NoName = true; }
    ~NoNames() { g_NoName = false; }
};

struct Deleter {
    void operator()(CVideoDecoderBase* decoder) const {
        decoder->DestroyDecoder();
        decoder->Delete();
    }
};
using Decoder = std::unique_ptr<CVideoDecoderBase, Deleter>;

LoggedLine CantFind(const std::string& word) {
    return Codrelay(Severity::Critical, "Codrelay_VideoDecoder: Can't find video decoder " + word);
}

const LoggedLine kLoadJpeg = Codrelay(Severity::Trace, "Load JPEG decoder");
const LoggedLine kLoadH265 = Codrelay(Severity::Trace, "load H265 decoder");
const std::vector<LoggedLine> kLoadH264{Codrelay(Severity::Trace, "Loading H264 decoder"),
                                        Codrelay(Severity::Trace, "Creating FFMPEG decoder for H264")};

// The name that a decoder looks its codec up by, as its first line tells it.
std::string CodecName(CVideoDecoderBase& decoder) {
    LogCapture log;
    EXPECT_EQ(decoder.CreateDecoder(decoder.GetOutputColorSpace(), 320, 240, nullptr), 1);
    const std::string text = log.Take().at(0).text;
    const std::string prefix = "CVideoDecoder::CreateDecoder: ";
    return text.substr(prefix.size(), text.find(" width") - prefix.size());
}

struct Dispatch {
    int id;
    const char* codecName;  // null where there is no decoder
    std::vector<LoggedLine> lines;
};

class VideoDecoderDispatch : public testing::TestWithParam<Dispatch> {};

TEST_P(VideoDecoderDispatch, ServesOrSaysWhyNot) {
    LogCapture log;
    const Decoder decoder(Codrelay_VideoDecoder(GetParam().id, "whatever"));
    EXPECT_EQ(log.Take(), GetParam().lines);
    ASSERT_EQ(decoder != nullptr, GetParam().codecName != nullptr);
    if (decoder != nullptr) {
        EXPECT_EQ(decoder->GetOutputColorSpace(), CSP_YUV420P);
        EXPECT_EQ(CodecName(*decoder), GetParam().codecName);
    }
}

INSTANTIATE_TEST_SUITE_P(
    EveryId, VideoDecoderDispatch,
    testing::Values(Dispatch{INT_MIN, nullptr, {CantFind("unknown")}}, Dispatch{-2, nullptr, {CantFind("unknown")}},
                    Dispatch{-1, nullptr, {CantFind("none")}}, Dispatch{0, nullptr, {CantFind("xvide")}},
                    Dispatch{1, nullptr, {Ffmpeg(Severity::Error, "NewFFmpegVideoDecoder: can't find CodecId 1")}},
                    Dispatch{2, nullptr, {CantFind("thr")}}, Dispatch{3, nullptr, {CantFind("flv")}},
                    Dispatch{4, "mpeg4", {}}, Dispatch{5, nullptr, {CantFind("h263")}},
                    Dispatch{6, "mjpeg", {kLoadJpeg}}, Dispatch{7, "mjpeg", {kLoadJpeg}},
                    Dispatch{8, "h264", kLoadH264}, Dispatch{9, "hevc", {kLoadH265}},
                    Dispatch{10, nullptr, {CantFind("unknown")}}, Dispatch{11, nullptr, {CantFind("unknown")}},
                    Dispatch{12, nullptr, {CantFind("unknown")}}, Dispatch{31999, nullptr, {CantFind("unknown")}},
                    Dispatch{32000, nullptr, {CantFind("raw")}}, Dispatch{32001, nullptr, {CantFind("unknown")}},
                    Dispatch{INT_MAX, nullptr, {CantFind("unknown")}}),
    [](const auto& suite) {
        const std::string number = std::to_string(suite.param.id);
        return number[0] == '-' ? "Minus" + number.substr(1) : number;
    });

TEST(VideoDecoderFactories, NamedOnesBuildTheirDecoder) {
    LogCapture log;
    const Decoder h264(Codrelay_VideoDecoder_H264("anything"));
    EXPECT_EQ(log.Take(), kLoadH264);
    const Decoder h265(Codrelay_VideoDecoder_H265("anything"));
    EXPECT_THAT(log.Take(), ElementsAre(kLoadH265));
    const Decoder jpeg(Codrelay_VideoDecoder_JPEG());
    EXPECT_THAT(log.Take(), ElementsAre(kLoadJpeg));
    EXPECT_EQ(CodecName(*h264), "h264");
    EXPECT_EQ(CodecName(*h265), "hevc");
    EXPECT_EQ(CodecName(*jpeg), "mjpeg");
}

TEST(VideoDecoderFactories, NamedOnesReportANullResult) {
    const NoNames noNames;
    const auto noName = [](int id) {
        return Ffmpeg(Severity::Error, "NewFFmpegVideoDecoder: can't find name CodecId " + std::to_string(id));
    };
    LogCapture log;
    EXPECT_EQ(Codrelay_VideoDecoder_H264(""), nullptr);
    EXPECT_THAT(log.Take(), ElementsAre(kLoadH264[0], kLoadH264[1], noName(8),
                                        Codrelay(Severity::Critical, "Can't load decoder H264!")));
    EXPECT_EQ(Codrelay_VideoDecoder_H265(""), nullptr);
    EXPECT_THAT(log.Take(),
                ElementsAre(kLoadH265, noName(9), Codrelay(Severity::Critical, "failed to load H265 decoder")));
    EXPECT_EQ(Codrelay_VideoDecoder_JPEG(), nullptr);
    EXPECT_THAT(log.Take(),
                ElementsAre(kLoadJpeg, noName(6), Codrelay(Severity::Critical, "Can't load decoder JPEG!")));
    EXPECT_EQ(Codrelay_VideoDecoder(4, ""), nullptr);
    EXPECT_THAT(log.Take(), ElementsAre(noName(4)));
}

TEST(VideoDecoderFactories, HardwareEntryGivesNullInSilence) {
    LogCapture log;
    EXPECT_EQ(HwAccelVideoDecoder_H264(""), nullptr);
    EXPECT_EQ(HwAccelVideoDecoder_H264("cuda"), nullptr);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(FfmpegVideoDecoderFactory, ServesIds3To9) {
    const char* const names[] = {"flv", "mpeg4", "h263", "mjpeg", "mjpeg", "h264", "hevc"};
    for (int id = 3; id <= 9; ++id) {
        LogCapture log;
        const Decoder decoder(NewFFmpegVideoDecoder(id, CSP_YUV420P, "ignored"));
        EXPECT_THAT(log.Take(), IsEmpty());
        ASSERT_NE(decoder, nullptr);
        EXPECT_EQ(CodecName(*decoder), names[id - 3]);
    }
}

TEST(FfmpegVideoDecoderFactory, RefusesOtherIds) {
    for (const int id : {INT_MIN, -1, 0, 1, 2, 10, 32000, INT_MAX}) {
        LogCapture log;
        EXPECT_EQ(NewFFmpegVideoDecoder(id, CSP_YUV420P, ""), nullptr);
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                                   "NewFFmpegVideoDecoder: can't find CodecId " + std::to_string(id))));
    }
}

TEST(FfmpegVideoDecoderFactory, BindsTheColorSpaceToAFormat) {
    // FLV tells at creation which format it was bound to, where that is not its own.
    const auto boundFormat = [](unsigned int colorSpace) {
        LogCapture log;
        const Decoder decoder(NewFFmpegVideoDecoder(VIDEO_CODEC_FLV, colorSpace, ""));
        EXPECT_EQ(decoder->GetSupportedColorSpaces(), colorSpace);
        log.Take();
        EXPECT_EQ(decoder->CreateDecoder(colorSpace, 320, 240, nullptr), 1);
        const std::string text = log.Take().back().text;
        return text.find("not equal") == std::string::npos ? "yuv420p" : text.substr(text.rfind(' ') + 1);
    };
    EXPECT_EQ(boundFormat(CSP_YUV420P), "yuv420p");
    EXPECT_EQ(boundFormat(CSP_BGR24), "bgr24");
    EXPECT_EQ(boundFormat(CSP_RGB24), "rgb24");
    EXPECT_EQ(boundFormat(CSP_BGRA), "bgra");
    EXPECT_EQ(boundFormat(CSP_NV12), "nv12");
    EXPECT_EQ(boundFormat(CSP_YUYV422), "none");
    EXPECT_EQ(boundFormat(12345), "none");
}

TEST(FfmpegVideoDecoderFactory, DoesNotTestTheFormat) {
    for (const unsigned int colorSpace : {CSP_YUV420P_ALT, CSP_YUYV422}) {
        LogCapture log;
        const Decoder decoder(NewFFmpegVideoDecoder(VIDEO_CODEC_H264, colorSpace, ""));
        EXPECT_NE(decoder, nullptr);
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                                   "GetFFmpegPixelFormat " + std::to_string(colorSpace) + " failed!")));
    }
    LogCapture log;
    const Decoder decoder(NewFFmpegVideoDecoder(VIDEO_CODEC_H264, 0x80000000U, ""));
    EXPECT_NE(decoder, nullptr);
    EXPECT_THAT(log.Take(), IsEmpty());
}

}  // namespace
