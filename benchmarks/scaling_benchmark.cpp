// What a second decoder on a second thread gains: the pictures of N decoders on N threads in the time on the wall,
// against those of one. The library and FFmpeg's calls alone take turns. A machine needs as many idle cores as threads.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "benchmarks/clip.h"
#include "benchmarks/decode_loops.h"

namespace {

constexpr int kThreads = 2;
constexpr int kRounds = 11;
constexpr int kPasses = 10;  // so that starting a thread does not count

template <typename Decoder>
class Farm {
public:
    explicit Farm(const Clip& clip) {
        for (int i = 0; i < kThreads; ++i) {
            m_Clips.push_back(clip);
            m_Decoders.push_back(std::make_unique<Decoder>(clip, false));
        }
    }

    /// Seconds for each of the first `count` decoders to decode its clip on a thread of its own.
    double Run(std::size_t count) {
        const auto start = std::chrono::steady_clock::now();
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < count; ++i) {
            threads.emplace_back([this, i] { DecodeAll(*m_Decoders[i], m_Clips[i]); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

private:
    static void DecodeAll(Decoder& decoder, Clip& clip) {
        for (int pass = 0; pass < kPasses; ++pass) {
            for (ClipPacket& packet : clip.packets) {
                Check(decoder.Decode(packet) == 1);
            }
        }
    }

    std::vector<Clip> m_Clips;
    std::vector<std::unique_ptr<Decoder>> m_Decoders;
};

/// The gain of each round: how many times the pictures of one thread.
class Gains {
public:
    template <typename Decoder>
    void Measure(Farm<Decoder>& farm) {
        const double alone = farm.Run(1);
        m_Gains.push_back(kThreads * alone / farm.Run(kThreads));
    }

    double Median() {
        std::sort(m_Gains.begin(), m_Gains.end());
        return m_Gains[m_Gains.size() / 2];
    }

private:
    std::vector<double> m_Gains;
};

void DecodeOnTwoThreads(benchmark::State& state, const char* clipName) {
    const Clip clip = ReadClip(clipName);
    Farm<PlainDecoder> plain(clip);
    Farm<LibraryDecoder> library(clip);
    Gains plainGains;
    Gains libraryGains;
    for (auto _ : state) {
        plainGains.Measure(plain);
        libraryGains.Measure(library);
    }
    // What is wanted of the library: the one, or of what the plain loop gains the other part.
    state.counters["wanted_gain"] = 1.9;
    state.counters["wanted_of_plain"] = 0.97;
    state.counters["plain_gain"] = plainGains.Median();
    state.counters["library_gain"] = libraryGains.Median();
}

void InRounds(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(kRounds);
}

BENCHMARK_CAPTURE(DecodeOnTwoThreads, h264_640x360, "h264_360.264")->Apply(InRounds);
BENCHMARK_CAPTURE(DecodeOnTwoThreads, mjpeg_640x360, "mjpeg_360.avi")->Apply(InRounds);

}  // namespace
