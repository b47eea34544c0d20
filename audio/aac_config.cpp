#include "audio/aac_config.h"

#include <algorithm>
#include <iterator>

#include "support/log_front.h"

namespace {

constexpr int kMpegSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000};

}  // namespace

int MpegIndexFromSampleRate(int sampleRate) {
    const auto found = std::find(std::begin(kMpegSampleRates), std::end(kMpegSampleRates), sampleRate);
    if (found == std::end(kMpegSampleRates)) {
        FFMPEG_LOG(Error) << "CAudioDecoder::Decode: wrong mpeg sample rate";
        return 0;
    }
    return static_cast<int>(found - std::begin(kMpegSampleRates));
}

void WriteAacConfig(unsigned char* config, int sampleRateIndex, int channels) {
    // Object type 2, the index, the channels, three flags that are zero.
    config[0] = static_cast<unsigned char>(0x10 | (sampleRateIndex >> 1));
    config[1] = static_cast<unsigned char>((static_cast<unsigned int>(sampleRateIndex & 1) << 7) |
                                           (static_cast<unsigned int>(channels) << 3));
    // A sync extension that says "no SBR". It lies behind the declared size; readers of the whole buffer find it.
    config[2] = 0x56;
    config[3] = 0xE5;
    config[4] = 0x00;
}
