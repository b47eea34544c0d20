#include "sample_format.h"

#include <algorithm>
#include <array>

namespace {

struct SampleFormat {
    int flag;
    const char* name;
    std::size_t bytes;
};

constexpr std::array<SampleFormat, 10> kFormats = {{{AUDIO_SAMPLE_U8, "u8", 1},
                                                    {AUDIO_SAMPLE_S16, "s16", 2},
                                                    {AUDIO_SAMPLE_S32, "s32", 4},
                                                    {AUDIO_SAMPLE_FLT, "flt", 4},
                                                    {AUDIO_SAMPLE_DBL, "dbl", 8},
                                                    {AUDIO_SAMPLE_U8P, "u8p", 1},
                                                    {AUDIO_SAMPLE_S16P, "s16p", 2},
                                                    {AUDIO_SAMPLE_S32P, "s32p", 4},
                                                    {AUDIO_SAMPLE_FLTP, "fltp", 4},
                                                    {AUDIO_SAMPLE_DBLP, "dblp", 8}}};

const SampleFormat* Find(int flag) {
    const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                    [flag](const SampleFormat& format) { return format.flag == flag; });
    return found != kFormats.end() ? &*found : nullptr;
}

}  // namespace

std::string SampleFormatName(int flag) {
    const SampleFormat* format = Find(flag);
    return format != nullptr ? format->name : "-";
}

std::vector<std::string> WavSampleFormatNames() {
    return {"s16", "s32", "flt", "u8"};
}

int SampleFormatOfName(const std::string& name) {
    return std::find_if(kFormats.begin(), kFormats.end(),
                        [&name](const SampleFormat& format) { return format.name == name; })
        ->flag;
}

std::size_t GroupBytes(const AUDIO_FORMAT& format) {
    return Find(format.sampleFormat)->bytes * static_cast<std::size_t>(format.channels);
}
