#pragma once

#include <cstddef>
#include <vector>

/// A mono sine, from -1 to 1.
std::vector<double> Tone(double frequency, int sampleRate, std::size_t count, double amplitude = 0.5);

/// Something between speech and noise, with every pitch in it: the same each time.
std::vector<double> Murmur(int sampleRate, std::size_t count);

/// Full scale is 32767.
std::vector<short> AsShorts(const std::vector<double>& sound);

/// Every `step`th sample from `first` on, full scale made 1.
template <typename Sample>
std::vector<double> Channel(const std::vector<Sample>& samples, std::size_t first, std::size_t step,
                            double fullScale = 1) {
    std::vector<double> channel;
    for (std::size_t i = first; i < samples.size(); i += step) {
        channel.push_back(static_cast<double>(samples[i]) / fullScale);
    }
    return channel;
}

/// The amplitude of one frequency in a sound.
double AmplitudeAt(double frequency, int sampleRate, const std::vector<double>& sound);

/// How far `sound` lies behind `reference`, in samples, by their likeness over the first `window` samples of
/// `reference` from `start` on.
std::size_t DelayOf(const std::vector<double>& sound, const std::vector<double>& reference, std::size_t start,
                    std::size_t window, std::size_t largest);

/// Signal to noise in dB over what both hold, `sound` being shifted by `delay` first.
double SignalToNoise(const std::vector<double>& sound, const std::vector<double>& reference, std::size_t delay = 0);

/// The largest difference over what both hold.
double LargestDifference(const std::vector<double>& a, const std::vector<double>& b);
