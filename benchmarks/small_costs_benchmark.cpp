// What is paid at every picture and at every start, each by itself: the frame pool, a log line, the statistics guard,
// the start of the library. The counter `limit` is what the time is to stay under, in nanoseconds; medians of nine
// repetitions count.

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "codrelay/library.h"
#include "codrelay/utils/clock.h"
#include "common/allocation_counter.h"
#include "support/log_front.h"
#include "uvqlog/control.h"
#include "video_decoder/frame_pool.h"
#include "video_decoder/stat_helper.h"

namespace {

using FramePtr = std::shared_ptr<CFrameBufferBase>;

constexpr unsigned int kFrameBytes = 640 * 360 * 3 / 2;
constexpr std::size_t kReleasers = 4;

/// Of a hand-out: the frame, and what counts its owners.
constexpr double kFrameAllocations = 2;

void TellAllocations(benchmark::State& state, const AllocationCounter& counted) {
    state.counters["allocations"] = counted.count / static_cast<double>(state.iterations());
    state.counters["allocations_wanted"] = kFrameAllocations;
}

void FramePoolAlone(benchmark::State& state) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameBytes, nullptr);
    FramePtr frame;
    pool.GetFrame(frame);  // makes the buffer
    frame.reset();
    AllocationCounter counted;
    for (auto _ : state) {
        benchmark::DoNotOptimize(pool.GetFrame(frame));
        frame.reset();
    }
    TellAllocations(state, counted);
    state.counters["limit"] = 150;
}

/// A thread that lets go of the frames that are put before it.
class Releaser {
public:
    Releaser() : m_Thread([this] { Run(); }) {}
    ~Releaser() {
        m_bEnd = true;
        m_Thread.join();
    }
    Releaser(const Releaser&) = delete;
    Releaser& operator=(const Releaser&) = delete;

    void Give(FramePtr& frame) {
        while (m_bFull.load(std::memory_order_acquire)) {
            std::this_thread::yield();
        }
        m_Frame = std::move(frame);
        m_bFull.store(true, std::memory_order_release);
    }

private:
    void Run() {
        while (!m_bEnd) {
            if (m_bFull.load(std::memory_order_acquire)) {
                m_Frame.reset();
                m_bFull.store(false, std::memory_order_release);
            } else {
                std::this_thread::yield();
            }
        }
    }

    std::atomic<bool> m_bFull{false};
    std::atomic<bool> m_bEnd{false};
    FramePtr m_Frame;
    std::thread m_Thread;
};

/// The hand-over to the thread and its waking are in the time too.
void FramePoolFourThreadsRelease(benchmark::State& state) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameBytes, nullptr);
    {
        std::vector<FramePtr> all(kReleasers + 1);
        for (FramePtr& frame : all) {
            pool.GetFrame(frame);  // makes the buffers
        }
    }
    std::array<Releaser, kReleasers> releasers;
    std::size_t next = 0;
    AllocationCounter counted;
    for (auto _ : state) {
        FramePtr frame;
        if (!pool.GetFrame(frame)) {
            std::abort();
        }
        releasers[next].Give(frame);
        next = (next + 1) % kReleasers;
    }
    TellAllocations(state, counted);
}

void LogLineOff(benchmark::State& state) {
    for (auto _ : state) {
        FFMPEG_LOG(Trace) << "a line of " << state.max_iterations;
    }
    state.counters["limit"] = 10;
}

void LogLineOnWithAnEmptySink(benchmark::State& state) {
    uvqlog::SetSink([](const uvqlog::LogEvent&) {});
    for (auto _ : state) {
        FFMPEG_LOG(Error) << "a line of " << state.max_iterations;
    }
    uvqlog::SetSink({});
    state.counters["limit"] = 1000;
}

void StatisticsGuard(benchmark::State& state) {
    CodecStat account;
    long long lastPrinted = utils::GetMonotonicTimeInMs();
    for (auto _ : state) {
        StatHelper guard("StatisticsGuard", &lastPrinted, &account);
        guard.m_bCount = true;
    }
    state.counters["limit"] = 120;
}

void StartWithTraceOff(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Codrelay_Create(nullptr));
        Codrelay_Destroy();
    }
    state.counters["limit"] = 1e6;
}

void InRepetitions(benchmark::internal::Benchmark* benchmark) {
    benchmark->Repetitions(9)->ReportAggregatesOnly()->MinTime(0.1);
}

BENCHMARK(FramePoolAlone)->Apply(InRepetitions);
BENCHMARK(FramePoolFourThreadsRelease)->Apply(InRepetitions)->UseRealTime();
BENCHMARK(LogLineOff)->Apply(InRepetitions);
BENCHMARK(LogLineOnWithAnEmptySink)->Apply(InRepetitions);
BENCHMARK(StatisticsGuard)->Apply(InRepetitions);
BENCHMARK(StartWithTraceOff)->Apply(InRepetitions);

}  // namespace
