#include "adts.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<int, 13> kRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                        22050, 16000, 12000, 11025, 8000,  7350};
constexpr std::size_t kHeaderBytes = 7;
constexpr int kLowComplexity = 1;

bool HasHeader(const std::vector<unsigned char>& frame) {
    return frame.size() > 2 && frame[0] == 0xff && (frame[1] & 0xf0) == 0xf0;
}

}  // namespace

bool FrameAsAdts(std::vector<unsigned char>& frame, const AUDIO_FORMAT& format) {
    if (HasHeader(frame)) {
        return true;
    }
    const auto rate = std::find(kRates.begin(), kRates.end(), format.sampleRate);
    const auto size = static_cast<unsigned int>(frame.size() + kHeaderBytes);
    if (rate == kRates.end() || format.channels < 1 || format.channels > 6 || size >= 1U << 13) {
        return false;
    }
    const auto rateIndex = static_cast<unsigned int>(rate - kRates.begin());
    const auto channels = static_cast<unsigned int>(format.channels);
    const std::array<unsigned int, kHeaderBytes> header = {0xff,
                                                           0xf1,
                                                           kLowComplexity << 6 | rateIndex << 2 | channels >> 2,
                                                           (channels & 3) << 6 | size >> 11,
                                                           size >> 3 & 0xff,
                                                           (size & 7) << 5 | 0x1f,
                                                           0xfc};
    frame.insert(frame.begin(), kHeaderBytes, 0);
    std::transform(header.begin(), header.end(), frame.begin(),
                   [](unsigned int byte) { return static_cast<unsigned char>(byte); });
    return true;
}
