#include "audio/audio_format_av.h"

namespace {

struct SampleFormat {
    int flag;
    AVSampleFormat format;
};

constexpr SampleFormat kSampleFormats[] = {
    {AUDIO_SAMPLE_U8, AV_SAMPLE_FMT_U8},     {AUDIO_SAMPLE_S16, AV_SAMPLE_FMT_S16},
    {AUDIO_SAMPLE_S32, AV_SAMPLE_FMT_S32},   {AUDIO_SAMPLE_FLT, AV_SAMPLE_FMT_FLT},
    {AUDIO_SAMPLE_DBL, AV_SAMPLE_FMT_DBL},   {AUDIO_SAMPLE_U8P, AV_SAMPLE_FMT_U8P},
    {AUDIO_SAMPLE_S16P, AV_SAMPLE_FMT_S16P}, {AUDIO_SAMPLE_S32P, AV_SAMPLE_FMT_S32P},
    {AUDIO_SAMPLE_FLTP, AV_SAMPLE_FMT_FLTP}, {AUDIO_SAMPLE_DBLP, AV_SAMPLE_FMT_DBLP},
};

}  // namespace

int AudioFormatFromAv(AVSampleFormat format) {
    for (const SampleFormat& known : kSampleFormats) {
        if (known.format == format) {
            return known.flag;
        }
    }
    return 0;
}

AVSampleFormat AudioFormatToAv(int flag) {
    for (const SampleFormat& known : kSampleFormats) {
        if (known.flag == flag) {
            return known.format;
        }
    }
    return AV_SAMPLE_FMT_NONE;
}
