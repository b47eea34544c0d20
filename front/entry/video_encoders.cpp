#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "front/entry/video_codec_word.h"
#include "front/registry/media_vocabulary.h"
#include "support/log_front.h"
#include "video_encoder/video_encoder.h"

CVideoEncoderBase* Codrelay_VideoEncoder(int id, const std::string& options) {
    if (id == VIDEO_CODEC_H264) {
        CVideoEncoderBase* encoder = Codrelay_VideoEncoder_H264(id, options);
        if (encoder != nullptr) {
            return encoder;
        }
    }
    if (id == VIDEO_CODEC_XVIDE) {
        id = VIDEO_CODEC_MPEG4;
    }
    CVideoEncoderBase* encoder = NewFFmpegVideoEncoder(id, CSP_YUV420P, std::string());
    if (encoder == nullptr) {
        CODRELAY_LOG(Critical) << "Codrelay_VideoEncoder: Can't find video encoder "
                               << VideoCodecWord(id, VIDEO_CODEC_H265 + 1);
    }
    return encoder;
}

CVideoEncoderBase* Codrelay_VideoEncoder_H264(int /*id*/, const std::string& /*options*/) {
    CODRELAY_LOG(Trace) << "Load H264  encoder";
    CVideoEncoderBase* encoder = NewFFmpegVideoEncoder(VIDEO_CODEC_H264, CSP_YUV420P, std::string());
    if (encoder == nullptr) {
        CODRELAY_LOG(Critical) << "Can't load encoder H264!";
    }
    return encoder;
}

CVideoEncoderBase* HwAccelVideoEncoder_H264(const std::string& /*options*/) {
    return nullptr;
}

CVideoEncoderBase* NewFFmpegVideoEncoder(int id, unsigned int colorSpace, const std::string& /*options*/) {
    if (id < VIDEO_CODEC_FLV || id > VIDEO_CODEC_H265) {
        FFMPEG_LOG(Error) << "NewFFmpegVideoEncoder: can't find CodecId " << id;
        return nullptr;
    }
    const char* name = GetFFmpegVideoEncoderName(id);
    if (name == nullptr) {
        FFMPEG_LOG(Error) << "NewFFmpegVideoEncoder: can't find name CodecId " << id;
        return nullptr;
    }
    const int codec = VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV];
    const AVPixelFormat format = GetFFmpegPixelFormat(static_cast<AVCodecID>(codec), static_cast<int>(colorSpace));
    return new CVideoEncoder(codec, name, colorSpace, format);
}
