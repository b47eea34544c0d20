// A mixed load for as long as it is told: decoding, resizing, encoding, muxing, demuxing, and objects that are
// destroyed and created again. Resident memory and open descriptors are told every ten seconds; after the first minute
// neither may grow, but for what the muxers document to leave behind.
//
//   soak SECONDS

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "steadiness/life.h"
#include "support/ffmpeg.h"
#include "uvqlog/control.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kReportSeconds = 10;
constexpr long kWarmUpSeconds = 60;
/// Blocks that come and go while the process is looked at.
constexpr double kAllocatedDriftKb = 256;
/// How far what is left can be told from the measurement.
constexpr double kMeasuredWithin = 0.005;
/// What heaps may drift by without a leak.
constexpr double kResidentDriftKb = 2048;
/// What stays behind lies scattered, and keeps the room round it from being used again: it costs this much more.
constexpr double kScattering = 1.25;
/// A muxer that leaves more than this behind does not only leave its container's insides.
constexpr double kMostLeftPerMuxerKb = 64;

struct Sample {
    long seconds = 0;
    double leftKb = 0;  // by the muxers, by design
    double allocatedKb = 0;
    double residentKb = 0;
    long descriptors = 0;
};

double AllocatedKb() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / 1024;
}

double ResidentKb() {
    malloc_trim(0);  // what the C library keeps for later is not held
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return static_cast<double>(resident * sysconf(_SC_PAGESIZE)) / 1024;
}

long Descriptors() {
    DIR* const folder = opendir("/proc/self/fd");
    long count = -3;  // the folder's own, and its two names for folders
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

/// A kind with an object that lives on from round to round, destroyed and created again.
class Worker {
public:
    explicit Worker(const LifeKind& kind)
        : m_Kind(kind), m_pLife(kind.begin(nullptr, "/tmp/soak_" + std::to_string(getpid()))) {}

    bool IsMuxer() const { return m_Kind.leavesFfmpegBehind; }

    /// Throws where something else comes out than at first.
    void Round() {
        const bool ready = (m_pLife->IsBuilt() || m_pLife->Build()) && m_pLife->Create();
        const std::optional<std::uint64_t> seen = ready ? m_pLife->Work() : std::nullopt;
        if (!seen || (m_Expected && seen != m_Expected)) {
            throw std::runtime_error(m_Kind.name + " fails in round " + std::to_string(m_nRounds));
        }
        m_Expected = seen;
        m_pLife->Destroy();
        if (m_pLife->IsBuilt() && ++m_nRounds % 16 == 0) {
            m_pLife->Delete();
        }
    }

private:
    LifeKind m_Kind;
    std::unique_ptr<Life> m_pLife;
    std::optional<std::uint64_t> m_Expected;
    long m_nRounds = 0;
};

std::vector<Worker> AllWorkers() {
    std::vector<Worker> workers;
    for (const LifeKind& kind : AllLifeKinds()) {
        workers.emplace_back(kind);
    }
    return workers;
}

/// What the muxers of one round leave behind by design.
double LeftKbByMuxers(std::vector<Worker>* workers) {
    constexpr int kRounds = 1000;
    const auto lead = [workers](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            for (Worker& worker : *workers) {
                if (worker.IsMuxer()) {
                    worker.Round();
                }
            }
        }
    };
    lead(100);
    const double before = AllocatedKb();
    lead(kRounds);
    return (AllocatedKb() - before) / kRounds;
}

class Soak {
public:
    explicit Soak(long seconds) : m_nSeconds(seconds), m_nLeftKbPerRound(LeftKbByMuxers(&m_Workers)) {
        std::printf("the muxers of a round leave %.1f KiB behind by design\n", m_nLeftKbPerRound);
        const auto muxers =
            std::count_if(m_Workers.begin(), m_Workers.end(), [](const Worker& w) { return w.IsMuxer(); });
        if (m_nLeftKbPerRound > static_cast<double>(muxers) * kMostLeftPerMuxerKb) {
            throw std::runtime_error("that is more than their containers can be");
        }
    }

    bool Run() {
        m_Begin = Clock::now();
        std::printf("%8s %8s %12s %14s %13s %12s\n", "seconds", "rounds", "left KiB", "allocated KiB", "resident KiB",
                    "descriptors");
        for (long next = kReportSeconds; next <= m_nSeconds; next += kReportSeconds) {
            WorkUntil(next);
            Report(next);
        }
        return IsFlat();
    }

private:
    void WorkUntil(long seconds) {
        while (Clock::now() - m_Begin < std::chrono::seconds(seconds)) {
            for (Worker& worker : m_Workers) {
                worker.Round();
            }
            ++m_nRounds;
        }
    }

    void Report(long seconds) {
        const double leftKb = m_nLeftKbPerRound * static_cast<double>(m_nRounds);
        const Sample sample{seconds, leftKb, AllocatedKb(), ResidentKb(), Descriptors()};
        std::printf("%8ld %8ld %12.0f %14.0f %13.0f %12ld\n", seconds, m_nRounds, sample.leftKb, sample.allocatedKb,
                    sample.residentKb, sample.descriptors);
        std::fflush(stdout);
        if (seconds == kWarmUpSeconds) {
            m_First = sample;
        }
        m_Last = sample;
    }

    bool IsFlat() const {
        const double leftKb = m_Last.leftKb - m_First.leftKb;
        const double allocatedKb = m_Last.allocatedKb - m_First.allocatedKb;
        const double residentKb = m_Last.residentKb - m_First.residentKb;
        const double mostAllocatedKb = leftKb * (1 + kMeasuredWithin) + kAllocatedDriftKb;
        const double mostResidentKb = leftKb * kScattering + kResidentDriftKb;
        const long opened = m_Last.descriptors - m_First.descriptors;
        std::printf(
            "from second %ld to second %ld: left %.0f KiB; allocated %+.0f (at most %.0f), resident %+.0f (at "
            "most %.0f), descriptors %+ld (at most 0)\n",
            m_First.seconds, m_Last.seconds, leftKb, allocatedKb, mostAllocatedKb, residentKb, mostResidentKb, opened);
        return allocatedKb <= mostAllocatedKb && residentKb <= mostResidentKb && opened <= 0;
    }

    long m_nSeconds;
    std::vector<Worker> m_Workers = AllWorkers();
    double m_nLeftKbPerRound;
    long m_nRounds = 0;
    Clock::time_point m_Begin;
    Sample m_First;
    Sample m_Last;
};

}  // namespace

int main(int argc, char** argv) {
    const long seconds = argc == 2 ? std::atol(argv[1]) : 0;
    if (seconds < kWarmUpSeconds + 2 * kReportSeconds) {
        std::fprintf(stderr, "usage: soak SECONDS, at least %ld\n", kWarmUpSeconds + 2 * kReportSeconds);
        return 2;
    }
    av_log_set_level(AV_LOG_QUIET);
    uvqlog::SetSink([](const uvqlog::LogEvent&) {});
    uvqlog::SetThreshold(uvqlog::Severity::Trace);
    try {
        const bool flat = Soak(seconds).Run();
        std::printf(flat ? "flat\n" : "NOT flat\n");
        return flat ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
