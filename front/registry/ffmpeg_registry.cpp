#include "front/registry/ffmpeg_registry.h"

#include <cstring>

#include "front/registry/format_names.h"
#include "support/log_front.h"
#include "uvqlog/until_unload.h"

namespace {

// Built when the library is loaded.
CMainFFmpegLib* const g_pMainFfmpegLib = uvqlog::UntilUnload(new CMainFFmpegLib);

using FindByName = FfmpegCodec* (*)(const char* name);

// FFmpeg's list mixes encoders and decoders. A look-up by name gives back the record itself only for the right kind.
bool IsOfKind(const AVCodec* codec, AVMediaType type, FindByName find) {
    return codec->type == type && find(codec->name) == codec;
}

template <typename Visitor>
void ForEachCodec(AVMediaType type, FindByName find, Visitor visit) {
    for (const AVCodec* codec = av_codec_next(nullptr); codec != nullptr; codec = av_codec_next(codec)) {
        if (IsOfKind(codec, type, find)) {
            visit(codec);
        }
    }
}

std::vector<AVCodecID> EncoderIds(AVMediaType type) {
    std::vector<AVCodecID> ids;
    ForEachCodec(type, avcodec_find_encoder_by_name, [&ids](const AVCodec* codec) { ids.push_back(codec->id); });
    return ids;
}

void ListCodecs(const char* header, AVMediaType type, FindByName find) {
    FFMPEG_LOG(Trace) << header;
    ForEachCodec(type, find, [](const AVCodec* codec) {
        FFMPEG_LOG(Trace) << "EnumSupportedCodecs: CodecId = " << codec->id
                          << ", codecName = " << TextOrNothing(codec->name);
    });
}

// Hundreds of look-ups by name are worth their time only where somebody reads the result.
bool ListingIsWanted() {
    return !uvqlog::IsLoggingForbidden() && uvq_log_logger__ffmpeg()->IsEnabled(uvqlog::Severity::Trace);
}

template <typename Format>
bool IsCalled(const Format* format, const char* longName) {
    const char* name = LongNameOf(format);
    return name != nullptr && std::strcmp(longName, name) == 0;
}

template <typename Found, typename Format>
Found* FindFormat(const char* longName, Found* (*next)(const Format*)) {
    if (longName == nullptr) {
        return nullptr;
    }
    Found* format = next(nullptr);
    while (format != nullptr && !IsCalled(format, longName)) {
        format = next(format);
    }
    return format;
}

}  // namespace

CMainFFmpegLib* GetMainFfmpegCodecLib() {
    return g_pMainFfmpegLib;
}

void InitFfmpegCodecLib() {
    GetMainFfmpegCodecLib()->InitCodecLib();
}

void CMainFFmpegLib::InitCodecLib() {
    FFMPEG_LOG(Trace) << "CVideoEncoder: Register codec lib!";
    avcodec_register_all();
    avfilter_register_all();
    av_register_all();
    if (ListingIsWanted()) {
        EnumSupportedCodecs();
        EnumSupportedOutFormats();
        EnumSupportedInputFormats();
    }
}

void CMainFFmpegLib::EnumSupportedCodecs() {
    ListCodecs("EnumSupportedCodecs: -----------VIDEO ENCODERS--------------", AVMEDIA_TYPE_VIDEO,
               avcodec_find_encoder_by_name);
    ListCodecs("EnumSupportedCodecs: -----------VIDEO DECODERS--------------", AVMEDIA_TYPE_VIDEO,
               avcodec_find_decoder_by_name);
    ListCodecs("EnumSupportedCodecs: -----------AUDIO ENCODERS--------------", AVMEDIA_TYPE_AUDIO,
               avcodec_find_encoder_by_name);
    ListCodecs("EnumSupportedCodecs: -----------AUDIO DECODERS--------------", AVMEDIA_TYPE_AUDIO,
               avcodec_find_decoder_by_name);
}

void CMainFFmpegLib::EnumSupportedOutFormats() {
    FFMPEG_LOG(Trace) << "EnumSupportedOutFormats: -----------OUT FORMATS--------------";
    for (const AVOutputFormat* format = av_oformat_next(nullptr); format != nullptr; format = av_oformat_next(format)) {
        const bool hasExtensions = format->extensions != nullptr;
        FFMPEG_LOG(Trace) << "EnumSupportedOutFormats: name = " << TextOrNothing(format->name)
                          << ", longName = " << TextOrNothing(LongNameOf(format))
                          << (hasExtensions ? " ext = " : " no ext") << TextOrNothing(format->extensions);
    }
}

void CMainFFmpegLib::EnumSupportedInputFormats() {
    // The header bears the name of the other listing; readers of the log look for it so.
    FFMPEG_LOG(Trace) << "EnumSupportedOutFormats: -----------INPUT FORMATS--------------";
    for (const AVInputFormat* format = av_iformat_next(nullptr); format != nullptr; format = av_iformat_next(format)) {
        FFMPEG_LOG(Trace) << "EnumSupportedInputFormats: name = " << TextOrNothing(format->name)
                          << ", longName = " << TextOrNothing(LongNameOf(format));
    }
}

FfmpegCodec* CMainFFmpegLib::FindCodec(AVCodecID id, const char* name, unsigned int encoder) {
    FfmpegCodec* codec = encoder != 0 ? avcodec_find_encoder_by_name(name) : avcodec_find_decoder_by_name(name);
    if (codec == nullptr) {
        FFMPEG_LOG(Error) << "FindCodec: Can't find codec 0. CodecId = " << id
                          << ", codecName = " << TextOrNothing(name) << ", Encoder = " << encoder;
        return nullptr;
    }
    if (codec->id != id) {
        FFMPEG_LOG(Error) << "FindCodec: Can't find codec 1. CodecId = " << id
                          << ", codecName = " << TextOrNothing(name) << ", Encoder = " << encoder;
        return nullptr;
    }
    return codec;
}

FfmpegOutFormat* CMainFFmpegLib::FindOutFormat(const char* longName) {
    return FindFormat(longName, av_oformat_next);
}

FfmpegInFormat* CMainFFmpegLib::FindInFormat(const char* longName) {
    return FindFormat(longName, av_iformat_next);
}

std::vector<AVCodecID> CMainFFmpegLib::GetFfmpegSupportedVideoEncoders() const {
    return EncoderIds(AVMEDIA_TYPE_VIDEO);
}

std::vector<AVCodecID> CMainFFmpegLib::GetFfmpegSupportedAudioEncoders() const {
    return EncoderIds(AVMEDIA_TYPE_AUDIO);
}
