#include "sound_clock.h"

#include <cstdlib>
#include <string>

#include "failure.h"

namespace {

constexpr long long kSamplesAFrame = 1152;
constexpr long long kMostOffMs = 40;

}  // namespace

void SoundClock::Check(long long time) {
    if (m_Frames == 0) {
        m_Start = time;
    }
    const long long heard = m_Start + m_Frames++ * kSamplesAFrame * 1000 / m_SampleRate;
    if (std::llabs(time - heard) >= kMostOffMs) {
        throw Failure("the sound has a gap at " + std::to_string(time) +
                      " ms, and the file muxer runs on over gaps: sound and picture would part");
    }
}
