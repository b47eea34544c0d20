#include "audio/sound.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>

namespace {

constexpr double kTurn = 6.283185307179586;

}  // namespace

std::vector<double> Tone(double frequency, int sampleRate, std::size_t count, double amplitude) {
    std::vector<double> sound(count);
    for (std::size_t i = 0; i < count; ++i) {
        sound[i] = amplitude * std::sin(kTurn * frequency * static_cast<double>(i) / sampleRate);
    }
    return sound;
}

std::vector<double> Murmur(int sampleRate, std::size_t count) {
    std::minstd_rand random(7);
    std::uniform_real_distribution<double> noise(-1, 1);
    std::vector<double> sound(count);
    double smooth = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / sampleRate;
        smooth = 0.9 * smooth + 0.1 * noise(random);
        const double voice =
            std::sin(kTurn * 140 * t) + 0.5 * std::sin(kTurn * 420 * t) + 0.3 * std::sin(kTurn * 910 * t);
        sound[i] = 0.3 * voice * (0.6 + 0.4 * std::sin(kTurn * 3 * t)) + 0.1 * smooth;
    }
    return sound;
}

std::vector<short> AsShorts(const std::vector<double>& sound) {
    std::vector<short> samples(sound.size());
    std::transform(sound.begin(), sound.end(), samples.begin(),
                   [](double value) { return static_cast<short>(std::lround(std::clamp(value, -1.0, 1.0) * 32767)); });
    return samples;
}

double AmplitudeAt(double frequency, int sampleRate, const std::vector<double>& sound) {
    // A Hann window, so that a neighbouring tone does not leak in.
    std::complex<double> sum = 0;
    double weights = 0;
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double at = static_cast<double>(i);
        const double weight = 0.5 - 0.5 * std::cos(kTurn * at / static_cast<double>(sound.size()));
        sum += sound[i] * weight * std::polar(1.0, -kTurn * frequency * at / sampleRate);
        weights += weight;
    }
    return 2 * std::abs(sum) / weights;
}

std::size_t DelayOf(const std::vector<double>& sound, const std::vector<double>& reference, std::size_t start,
                    std::size_t window, std::size_t largest) {
    std::size_t best = 0;
    double likeness = -1e30;
    for (std::size_t delay = 0; delay <= largest && start + window + delay <= sound.size(); ++delay) {
        double sum = 0;
        for (std::size_t i = start; i < start + window; ++i) {
            sum += sound[i + delay] * reference[i];
        }
        if (sum > likeness) {
            likeness = sum;
            best = delay;
        }
    }
    return best;
}

double SignalToNoise(const std::vector<double>& sound, const std::vector<double>& reference, std::size_t delay) {
    double signal = 0;
    double noise = 1e-30;
    for (std::size_t i = 0; i < reference.size() && i + delay < sound.size(); ++i) {
        signal += reference[i] * reference[i];
        noise += (sound[i + delay] - reference[i]) * (sound[i + delay] - reference[i]);
    }
    return 10 * std::log10(signal / noise);
}

double LargestDifference(const std::vector<double>& a, const std::vector<double>& b) {
    double largest = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return largest;
}
