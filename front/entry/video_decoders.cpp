#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "front/entry/video_codec_word.h"
#include "front/registry/media_vocabulary.h"
#include "support/log_front.h"
#include "video_decoder/video_decoder.h"

namespace {

// What the dispatch below has a word for. The encoders' dispatch knows more of the table; hosts' logs show the
// difference.
constexpr int kKnownWords = 7;

// The host layer knows one colour space, and no hardware option.
CVideoDecoderBase* NewDecoder(int id) {
    return NewFFmpegVideoDecoder(id, CSP_YUV420P, std::string());
}

CVideoDecoderBase* NewDecoderOrLine(int id, const char* lineOnNull) {
    CVideoDecoderBase* decoder = NewDecoder(id);
    if (decoder == nullptr) {
        CODRELAY_LOG(Critical) << lineOnNull;
    }
    return decoder;
}

}  // namespace

CVideoDecoderBase* Codrelay_VideoDecoder(int id, const std::string& options) {
    switch (id) {
        case VIDEO_CODEC_XVIDF:  // refused below, on the other logger
        case VIDEO_CODEC_MPEG4:
            return NewDecoder(id);
        case VIDEO_CODEC_JPEG:
        case VIDEO_CODEC_MJPEG:
            return Codrelay_VideoDecoder_JPEG();
        case VIDEO_CODEC_H264:
            return Codrelay_VideoDecoder_H264(options);
        case VIDEO_CODEC_H265:
            return Codrelay_VideoDecoder_H265(options);
        default:
            CODRELAY_LOG(Critical) << "Codrelay_VideoDecoder: Can't find video decoder "
                                   << VideoCodecWord(id, kKnownWords);
            return nullptr;
    }
}

CVideoDecoderBase* Codrelay_VideoDecoder_H264(const std::string& /*options*/) {
    CODRELAY_LOG(Trace) << "Loading H264 decoder";
    CODRELAY_LOG(Trace) << "Creating FFMPEG decoder for H264";
    return NewDecoderOrLine(VIDEO_CODEC_H264, "Can't load decoder H264!");
}

CVideoDecoderBase* Codrelay_VideoDecoder_H265(const std::string& /*options*/) {
    CODRELAY_LOG(Trace) << "load H265 decoder";
    return NewDecoderOrLine(VIDEO_CODEC_H265, "failed to load H265 decoder");
}

CVideoDecoderBase* Codrelay_VideoDecoder_JPEG() {
    CODRELAY_LOG(Trace) << "Load JPEG decoder";
    return NewDecoderOrLine(VIDEO_CODEC_JPEG, "Can't load decoder JPEG!");
}

CVideoDecoderBase* HwAccelVideoDecoder_H264(const std::string& /*options*/) {
    return nullptr;
}

CVideoDecoderBase* NewFFmpegVideoDecoder(int id, unsigned int colorSpace, const std::string& /*options*/) {
    if (id < VIDEO_CODEC_FLV || id > VIDEO_CODEC_H265) {
        FFMPEG_LOG(Error) << "NewFFmpegVideoDecoder: can't find CodecId " << id;
        return nullptr;
    }
    const char* name = GetFFmpegVideoDecoderName(id);
    if (name == nullptr) {
        FFMPEG_LOG(Error) << "NewFFmpegVideoDecoder: can't find name CodecId " << id;
        return nullptr;
    }
    const auto codec = static_cast<AVCodecID>(VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV]);
    return new CVideoDecoder(codec, name, colorSpace, GetFFmpegPixelFormat(codec, static_cast<int>(colorSpace)));
}
