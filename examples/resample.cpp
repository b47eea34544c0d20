// Turns a second of a 440 Hz tone at 8000 Hz, mono, 16 bits, into 48000 Hz, stereo, floating point, and looks whether
// it is still the same tone.
//
//   example_resample
#include <codrelay/codrelay.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr AUDIO_FORMAT kIn = {8000, 1, AUDIO_SAMPLE_S16};
constexpr AUDIO_FORMAT kOut = {48000, 2, AUDIO_SAMPLE_FLT};
/// Samples given at once: 20 ms.
constexpr std::size_t kBlock = 160;

std::vector<short> Tone() {
    std::vector<short> samples(static_cast<std::size_t>(kIn.sampleRate));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<short>(std::lround(16384 * std::sin(2 * M_PI * 440 * static_cast<double>(i) / 8000)));
    return samples;
}

/// The frequency in the left channel, by counting how often it rises through zero.
double Frequency(const std::vector<float>& stereo) {
    int rises = 0;
    for (std::size_t i = 2; i < stereo.size(); i += 2)
        rises += stereo[i - 2] < 0 && stereo[i] >= 0 ? 1 : 0;
    return rises * 48000.0 / (static_cast<double>(stereo.size()) / 2);
}

float Peak(const std::vector<float>& samples) {
    float peak = 0;
    for (const float sample : samples)
        peak = std::fmax(peak, std::fabs(sample));
    return peak;
}

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main() {
    Codrelay_Create(nullptr);
    CAudioResamplerBase* resampler = Codrelay_AudioResampler();
    unsigned int room = 0;  // bytes that the output of one block needs at most
    if (!resampler->Create(&kIn, &kOut, kBlock * sizeof(short), room))
        return Fail("the resampler cannot be made");

    std::vector<short> tone = Tone();
    std::vector<float> block(room / sizeof(float));
    std::vector<float> out;
    for (std::size_t at = 0; at < tone.size(); at += kBlock) {
        unsigned int bytes = 0;
        if (!resampler->Resample(reinterpret_cast<unsigned char*>(&tone[at]), kBlock * sizeof(short),
                                 reinterpret_cast<unsigned char*>(block.data()), bytes))
            return Fail("a block was not converted");
        out.insert(out.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(bytes / sizeof(float)));
    }
    resampler->Destroy();
    resampler->Delete();
    Codrelay_Destroy();

    // The filter keeps the last few milliseconds to itself.
    std::printf("%zu samples in, %zu out for each of two channels, %.0f Hz, peak %.2f\n", tone.size(), out.size() / 2,
                Frequency(out), static_cast<double>(Peak(out)));
    return out.empty() ? Fail("nothing came out") : 0;
}
