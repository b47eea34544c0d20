#include "front/registry/ffmpeg_registry.h"

#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <map>
#include <string>
#include <vector>

#include "codrelay/ffmpeg_layer.h"
#include "codrelay/library.h"
#include "common/host_locale.h"
#include "common/log_capture.h"
#include "front/registry/ffmpeg_walk_script.h"
#include "front/registry/media_vocabulary.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

using Lines = std::vector<LoggedLine>;

void AddLine(Lines* lines, const std::string& text) {
    lines->push_back(Ffmpeg(Severity::Trace, text));
}

std::string Text(const char* text) {
    return text != nullptr ? text : "";
}

// FFmpeg's own iterators and its own word for what is an encoder: a walk that shares nothing with the library's.
std::vector<const AVCodec*> CodecsOf(AVMediaType type, int (*isOfKind)(const AVCodec*)) {
    std::vector<const AVCodec*> codecs;
    void* state = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&state)) {
        if (codec->type == type && isOfKind(codec) != 0) {
            codecs.push_back(codec);
        }
    }
    return codecs;
}

void AddCodecs(Lines* lines, const std::string& header, AVMediaType type, int (*isOfKind)(const AVCodec*)) {
    AddLine(lines, "EnumSupportedCodecs: -----------" + header + "--------------");
    for (const AVCodec* codec : CodecsOf(type, isOfKind)) {
        AddLine(lines, "EnumSupportedCodecs: CodecId = " + std::to_string(codec->id) + ", codecName = " + codec->name);
    }
}

using Names = std::map<std::string, std::string>;

// The formats that hosts know by another long name than FFmpeg's.
const Names kOutNames = {{"flv", "FLV format"},
                         {"3gp", "3GP format"},
                         {"3g2", "3GP2 format"},
                         {"webm", "WebM file format"},
                         {"mpegts", "MPEG-2 transport stream format"}};
const Names kInNames = {{"wav", "WAV format"}, {"asf", "ASF format"}};

template <typename Format>
std::string ListedName(const Names& names, const Format* format) {
    const auto known = names.find(format->name);
    return known != names.end() ? known->second : Text(format->long_name);
}

void AddOutFormats(Lines* lines) {
    AddLine(lines, "EnumSupportedOutFormats: -----------OUT FORMATS--------------");
    void* state = nullptr;
    while (const AVOutputFormat* format = av_muxer_iterate(&state)) {
        const std::string extensions = format->extensions != nullptr ? Text(" ext = ") + format->extensions : " no ext";
        AddLine(lines, "EnumSupportedOutFormats: name = " + Text(format->name) +
                           ", longName = " + ListedName(kOutNames, format) + extensions);
    }
}

void AddInFormats(Lines* lines) {
    AddLine(lines, "EnumSupportedOutFormats: -----------INPUT FORMATS--------------");
    void* state = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&state)) {
        AddLine(lines, "EnumSupportedInputFormats: name = " + Text(format->name) +
                           ", longName = " + ListedName(kInNames, format));
    }
}

Lines ExpectedListing() {
    Lines lines;
    AddLine(&lines, "CVideoEncoder: Register codec lib!");
    AddCodecs(&lines, "VIDEO ENCODERS", AVMEDIA_TYPE_VIDEO, av_codec_is_encoder);
    AddCodecs(&lines, "VIDEO DECODERS", AVMEDIA_TYPE_VIDEO, av_codec_is_decoder);
    AddCodecs(&lines, "AUDIO ENCODERS", AVMEDIA_TYPE_AUDIO, av_codec_is_encoder);
    AddCodecs(&lines, "AUDIO DECODERS", AVMEDIA_TYPE_AUDIO, av_codec_is_decoder);
    AddOutFormats(&lines);
    AddInFormats(&lines);
    return lines;
}

std::vector<AVCodecID> EncoderIds(AVMediaType type) {
    std::vector<AVCodecID> ids;
    for (const AVCodec* codec : CodecsOf(type, av_codec_is_encoder)) {
        ids.push_back(codec->id);
    }
    return ids;
}

AVCodec MakeCodec(const char* name, AVMediaType type, AVCodecID id) {
    AVCodec codec{};
    codec.name = name;
    codec.type = type;
    codec.id = id;
    return codec;
}

bool AnotherThreadGetsTheLock() {
    return std::async(std::launch::async,
                      [] {
                          CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
                          const bool taken = lib->TryLock();
                          if (taken) {
                              lib->Unlock();
                          }
                          return taken;
                      })
        .get();
}

}  // namespace

TEST(FfmpegRegistry, IsOneObjectWithARecursiveLock) {
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    ASSERT_NE(lib, nullptr);
    EXPECT_EQ(lib, GetMainFfmpegCodecLib());
    EXPECT_EQ(lib->Lock(), 0);
    EXPECT_EQ(lib->Lock(), 0);
    EXPECT_EQ(lib->Unlock(), 0);
    EXPECT_FALSE(AnotherThreadGetsTheLock());
    EXPECT_EQ(lib->Unlock(), 0);
    EXPECT_TRUE(AnotherThreadGetsTheLock());
}

TEST(FfmpegRegistry, InitListsWhatFfmpegOffersInItsOrder) {
    LogCapture log;
    GetMainFfmpegCodecLib()->InitCodecLib();
    EXPECT_THAT(log.Take(), ElementsAreArray(ExpectedListing()));
}

TEST(FfmpegRegistry, ASecondInitRepeatsTheListing) {
    const auto encoders = GetFFmpegSupportedVideoEncoders();
    LogCapture log;
    InitFfmpegCodecLib();
    const Lines first = log.Take();
    InitFfmpegCodecLib();
    EXPECT_THAT(log.Take(), ElementsAreArray(first));
    EXPECT_EQ(encoders, GetFFmpegSupportedVideoEncoders());
}

TEST(FfmpegRegistry, InitRegistersCodecsThenFiltersThenFormats) {
    LogCapture log(Severity::Info);
    FfmpegWalkScript script;
    InitFfmpegCodecLib();
    EXPECT_THAT(script.registered, ElementsAre("avcodec_register_all", "avfilter_register_all", "av_register_all"));
}

TEST(FfmpegRegistry, InitWalksNothingWhenNobodyReadsTheListing) {
    FfmpegWalkScript script;
    {
        LogCapture log(Severity::Info);
        InitFfmpegCodecLib();
        EXPECT_THAT(log.Take(), IsEmpty());
        EXPECT_EQ(script.steps, 0);
    }
    LogCapture log;
    uvqlog::ForbidLogging(true);
    InitFfmpegCodecLib();
    uvqlog::ForbidLogging(false);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(script.steps, 0);
    InitFfmpegCodecLib();
    EXPECT_GT(script.steps, 0);
}

TEST(FfmpegRegistry, TheListingGoesByTheThresholdOfItsOwnLogger) {
    LogCapture log(Severity::Info);
    FfmpegWalkScript script;
    uvqlog::SetThreshold("codrelay", Severity::Trace);
    InitFfmpegCodecLib();
    EXPECT_EQ(script.steps, 0);
    uvqlog::SetThreshold("codrelay", Severity::Info);
    uvqlog::SetThreshold("ffmpeg", Severity::Trace);
    InitFfmpegCodecLib();
    EXPECT_GT(script.steps, 0);
    EXPECT_THAT(log.Take(), ElementsAreArray(ExpectedListing()));
}

TEST(FfmpegRegistry, MissingTextsOfFormatsPrintNothing) {
    AVOutputFormat bare{};
    bare.name = "bare";
    AVOutputFormat full{};
    full.name = "full";
    full.long_name = "Full format";
    full.extensions = "ful,fll";
    AVInputFormat nameless{};
    FfmpegWalkScript script;
    script.outFormats = {&bare, &full};
    script.inFormats = {&nameless};
    LogCapture log;
    GetMainFfmpegCodecLib()->EnumSupportedOutFormats();
    GetMainFfmpegCodecLib()->EnumSupportedInputFormats();
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Trace, "EnumSupportedOutFormats: -----------OUT FORMATS--------------"),
                            Ffmpeg(Severity::Trace, "EnumSupportedOutFormats: name = bare, longName =  no ext"),
                            Ffmpeg(Severity::Trace,
                                   "EnumSupportedOutFormats: name = full, longName = Full format ext = ful,fll"),
                            Ffmpeg(Severity::Trace, "EnumSupportedOutFormats: -----------INPUT FORMATS--------------"),
                            Ffmpeg(Severity::Trace, "EnumSupportedInputFormats: name = , longName = ")));
}

TEST(FfmpegRegistry, FindCodecGoesByNameAndChecksTheId) {
    LogCapture log;
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    const AVCodec* decoder = lib->FindCodec(AV_CODEC_ID_H264, "h264", 0);
    ASSERT_NE(decoder, nullptr);
    EXPECT_STREQ(decoder->name, "h264");
    EXPECT_NE(av_codec_is_decoder(decoder), 0);
    const AVCodec* encoder = lib->FindCodec(AV_CODEC_ID_MPEG4, "mpeg4", 7);
    ASSERT_NE(encoder, nullptr);
    EXPECT_NE(av_codec_is_encoder(encoder), 0);
    EXPECT_NE(encoder, lib->FindCodec(AV_CODEC_ID_MPEG4, "mpeg4", 0));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(FfmpegRegistry, FindCodecLogsANameThatDoesNotExist) {
    LogCapture log;
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    EXPECT_EQ(lib->FindCodec(AV_CODEC_ID_H264, "no such codec", 0), nullptr);
    EXPECT_EQ(lib->FindCodec(AV_CODEC_ID_H264, "h264", 1), nullptr);
    EXPECT_EQ(lib->FindCodec(AV_CODEC_ID_HEVC, nullptr, 4294967295U), nullptr);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(
            Ffmpeg(Severity::Error,
                   "FindCodec: Can't find codec 0. CodecId = 27, codecName = no such codec, Encoder = 0"),
            Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = h264, Encoder = 1"),
            Ffmpeg(Severity::Error,
                   "FindCodec: Can't find codec 0. CodecId = 173, codecName = , Encoder = 4294967295")));
}

TEST(FfmpegRegistry, NumbersInItsLinesAreTheSameInAnyLocaleOfTheHost) {
    const HostLocale host;
    LogCapture log;
    EXPECT_EQ(GetMainFfmpegCodecLib()->FindCodec(AV_CODEC_ID_HEVC, "h264", 4294967295U), nullptr);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Error,
                           "FindCodec: Can't find codec 0. CodecId = 173, codecName = h264, Encoder = 4294967295")));
}

TEST(FfmpegRegistry, FindCodecLogsANameThatStandsForAnotherCodec) {
    LogCapture log;
    EXPECT_EQ(GetMainFfmpegCodecLib()->FindCodec(AV_CODEC_ID_H264, "hevc", 0), nullptr);
    EXPECT_EQ(GetMainFfmpegCodecLib()->FindCodec(AV_CODEC_ID_HEVC, "h264", 0), nullptr);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(
            Ffmpeg(Severity::Error, "FindCodec: Can't find codec 1. CodecId = 27, codecName = hevc, Encoder = 0"),
            Ffmpeg(Severity::Error, "FindCodec: Can't find codec 1. CodecId = 173, codecName = h264, Encoder = 0")));
}

TEST(FfmpegRegistry, FormatsAreFoundByTheWholeLongName) {
    LogCapture log;
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    const AVOutputFormat* mp4 = lib->FindOutFormat("MP4 (MPEG-4 Part 14)");
    ASSERT_NE(mp4, nullptr);
    EXPECT_STREQ(mp4->name, "mp4");
    EXPECT_EQ(lib->FindOutFormat("mp4"), nullptr);
    EXPECT_EQ(lib->FindOutFormat("MP4 (MPEG-4 Part 14) "), nullptr);
    EXPECT_EQ(lib->FindOutFormat(""), nullptr);
    EXPECT_EQ(lib->FindOutFormat(nullptr), nullptr);
    const AVInputFormat* avi = lib->FindInFormat("AVI (Audio Video Interleaved)");
    ASSERT_NE(avi, nullptr);
    EXPECT_STREQ(avi->name, "avi");
    EXPECT_EQ(lib->FindInFormat("avi"), nullptr);
    EXPECT_EQ(lib->FindInFormat("avi (Audio Video Interleaved)"), nullptr);
    EXPECT_EQ(lib->FindInFormat(nullptr), nullptr);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(FfmpegRegistry, EveryFormatOfTheTablesExists) {
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    const char* names[] = {"flv", "mp4", "webm", "3gp", "3g2", "avi", "mpegts"};
    for (int id = MUXER_FORMAT_FLV; id <= MUXER_FORMAT_MPEGTS; ++id) {
        const AVOutputFormat* format = lib->FindOutFormat(GetMuxerFormatName(id));
        ASSERT_NE(format, nullptr) << id;
        EXPECT_STREQ(format->name, names[id - 1]);
    }
    const AVInputFormat* wav = lib->FindInFormat("WAV format");
    ASSERT_NE(wav, nullptr);
    EXPECT_STREQ(wav->name, "wav");
    const AVInputFormat* asf = lib->FindInFormat("ASF format");
    ASSERT_NE(asf, nullptr);
    EXPECT_STREQ(asf->name, "asf");
}

// Of the formats with two names the library's alone is looked for, and muxers and demuxers are told apart.
TEST(FfmpegRegistry, FfmpegsOwnNamesOfRenamedFormatsFindNothing) {
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    for (const char* name : {"FLV (Flash Video)", "3GP (3GPP file format)", "3GP2 (3GPP2 file format)", "WebM",
                             "MPEG-TS (MPEG-2 Transport Stream)", "WAV format", "ASF format"}) {
        EXPECT_EQ(lib->FindOutFormat(name), nullptr) << name;
    }
    for (const char* name : {"WAV / WAVE (Waveform Audio)", "FLV format", "MPEG-2 transport stream format"}) {
        EXPECT_EQ(lib->FindInFormat(name), nullptr) << name;
    }
    for (const auto& [longName, name] :
         Names{{"WAV / WAVE (Waveform Audio)", "wav"}, {"ASF (Advanced / Active Streaming Format)", "asf"}}) {
        const AVOutputFormat* format = lib->FindOutFormat(longName.c_str());
        ASSERT_NE(format, nullptr) << longName;
        EXPECT_EQ(format->name, name);
    }
    for (const auto& [longName, name] :
         Names{{"FLV (Flash Video)", "flv"},
               {"MPEG-TS (MPEG-2 Transport Stream)", "mpegts"},
               {"ASF (Advanced / Active Streaming Format)", "asf_o"}}) {  // FFmpeg's other demuxer of ASF
        const AVInputFormat* format = lib->FindInFormat(longName.c_str());
        ASSERT_NE(format, nullptr) << longName;
        EXPECT_EQ(format->name, name);
    }
}

TEST(FfmpegRegistry, AFormatWithoutALongNameIsPassedOver) {
    AVOutputFormat nameless{};
    AVOutputFormat first{};
    first.long_name = "same";
    AVOutputFormat second{};
    second.long_name = "same";
    AVInputFormat namelessIn{};
    AVInputFormat in{};
    in.long_name = "in";
    FfmpegWalkScript script;
    script.outFormats = {&nameless, &first, &second};
    script.inFormats = {&namelessIn, &in};
    EXPECT_EQ(GetMainFfmpegCodecLib()->FindOutFormat("same"), &first);
    EXPECT_EQ(GetMainFfmpegCodecLib()->FindOutFormat("in"), nullptr);
    EXPECT_EQ(GetMainFfmpegCodecLib()->FindInFormat("in"), &in);
    EXPECT_EQ(GetMainFfmpegCodecLib()->FindInFormat("same"), nullptr);
}

TEST(FfmpegRegistry, EncodersAreThoseOfFfmpegInItsOrder) {
    const CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    EXPECT_THAT(lib->GetFfmpegSupportedVideoEncoders(), ElementsAreArray(EncoderIds(AVMEDIA_TYPE_VIDEO)));
    EXPECT_THAT(lib->GetFfmpegSupportedAudioEncoders(), ElementsAreArray(EncoderIds(AVMEDIA_TYPE_AUDIO)));
}

TEST(FfmpegRegistry, TwoEncodersOfOneIdGiveTwoEntries) {
    AVCodec software = MakeCodec("h264_a", AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264);
    AVCodec decoder = MakeCodec("h264_d", AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264);
    AVCodec sound = MakeCodec("sound", AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC);
    AVCodec hardware = MakeCodec("h264_b", AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264);
    AVCodec namesake = MakeCodec("sound", AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_MP3);
    FfmpegWalkScript script;
    script.codecs = {&software, &decoder, &sound, &hardware, &namesake};
    script.encoders = {&software, &sound, &hardware, &namesake};
    const CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    EXPECT_THAT(lib->GetFfmpegSupportedVideoEncoders(), ElementsAre(AV_CODEC_ID_H264, AV_CODEC_ID_H264));
    EXPECT_THAT(lib->GetFfmpegSupportedAudioEncoders(), ElementsAre(AV_CODEC_ID_AAC)) << "found by name, not by record";
    EXPECT_THAT(GetFFmpegSupportedVideoEncoders(), ElementsAre(VIDEO_CODEC_H264));
    EXPECT_THAT(GetFFmpegSupportedAudioEncoders(), ElementsAre(AUDIO_CODEC_AAC));
}

TEST(FfmpegRegistry, OnlyTheSupportedListsTakeTheLock) {
    FfmpegWalkScript script;
    bool isFree = false;
    script.onStep = [&] {
        if (script.steps == 1) {
            isFree = AnotherThreadGetsTheLock();
        }
    };
    const auto freeDuring = [&](const std::function<void()>& call) {
        script.steps = 0;
        call();
        return isFree;
    };
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    EXPECT_FALSE(freeDuring([] { GetFFmpegSupportedVideoEncoders(); }));
    EXPECT_FALSE(freeDuring([] { GetFFmpegSupportedAudioEncoders(); }));
    EXPECT_TRUE(freeDuring([lib] { lib->FindOutFormat("none"); }));
    EXPECT_TRUE(freeDuring([lib] { lib->FindInFormat("none"); }));
    LogCapture log;
    EXPECT_TRUE(freeDuring([lib] { lib->InitCodecLib(); }));
    EXPECT_TRUE(AnotherThreadGetsTheLock());
}
