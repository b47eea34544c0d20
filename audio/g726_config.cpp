#include "audio/g726_config.h"

#include "codrelay/media_ids.h"
#include "support/log_front.h"

bool ConfigureG726(int id, AVCodecContext* context) {
    if (id < AUDIO_CODEC_G726_16 || id > AUDIO_CODEC_G726_40) {
        FFMPEG_LOG(Error) << "CAudioDecoder::OpenDecoder: unexpected G726 decoder!";
        return false;
    }
    context->sample_rate = 8000;
    context->sample_fmt = AV_SAMPLE_FMT_S16;
    context->bit_rate = (id - AUDIO_CODEC_G726_16) * 8000 + 16000;
    context->bits_per_coded_sample = id - AUDIO_CODEC_G726_16 + 2;
    return true;
}
