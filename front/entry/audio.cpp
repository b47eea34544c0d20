#include "audio/audio_decoder.h"
#include "audio/audio_encoder.h"
#include "audio/audio_resampler.h"
#include "audio/opus_decoder.h"
#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "front/registry/media_vocabulary.h"
#include "support/log_front.h"

CAudioEncoderBase* Codrelay_AudioEncoder(int id) {
    return NewFFmpegAudioEncoder(id);
}

CAudioDecoderBase* Codrelay_AudioDecoder(int id) {
    // Opus is libopus's, and in none of the tables that lead to FFmpeg.
    return id == AUDIO_CODEC_OPUS ? new COpusDecoder : NewFFmpegAudioDecoder(id);
}

CAudioResamplerBase* Codrelay_AudioResampler() {
    return NewFFmpegAudioResampler();
}

CAudioEncoderBase* NewFFmpegAudioEncoder(int id) {
    const AVCodecID codecId = AudioCodecToAvCodecId(id);
    if (codecId == AV_CODEC_ID_NONE) {
        FFMPEG_LOG(Error) << "NewFFmpegAudioEncoder: can't find CodecId " << id;
        return nullptr;
    }
    const char* name = GetFFmpegAudioEncoderName(id);
    if (name == nullptr) {
        FFMPEG_LOG(Error) << "NewFFmpegAudioEncoder: can't find name CodecId " << id;
        return nullptr;
    }
    return new CAudioEncoder(codecId, name);
}

CAudioDecoderBase* NewFFmpegAudioDecoder(int id) {
    const char* name = GetFFmpegAudioDecoderName(id);
    if (name == nullptr) {
        FFMPEG_LOG(Error) << "NewFFmpegAudioDecoder: can't find name CodecId " << id;
        return nullptr;
    }
    return new CAudioDecoder(id, name);
}

CAudioResamplerBase* NewFFmpegAudioResampler() {
    return new CAudioResampler;
}
