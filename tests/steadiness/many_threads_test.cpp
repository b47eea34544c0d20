// Sixteen threads lead the lives of all objects at the same time, hand their pictures to each other, and log, while
// another changes where lines go and which are written. For the thread sanitizer above all.

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/log_capture.h"
#include "steadiness/life.h"
#include "support/ffmpeg.h"
#include "support/log_front.h"

namespace {

constexpr std::size_t kThreads = 16;

/// How often each thread begins a life. CODRELAY_ROUNDS makes it more, for a run by hand.
int Rounds() {
    const char* rounds = std::getenv("CODRELAY_ROUNDS");
    return rounds != nullptr ? std::atoi(rounds) : 6;
}

/// A few places for pictures. Who puts one in lets go of the one before, on its own thread.
class Exchange {
public:
    void PutIn(std::shared_ptr<CFrameBufferBase>& frame) {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Frames[m_nNext] = std::move(frame);
        m_nNext = (m_nNext + 1) % m_Frames.size();
    }

private:
    std::mutex m_Mutex;
    std::array<std::shared_ptr<CFrameBufferBase>, 4> m_Frames;  // fewer than a pool has
    std::size_t m_nNext = 0;
};

std::string ScratchFile(std::size_t thread) {
    return testing::TempDir() + "many_threads_" + std::to_string(getpid()) + "_" + std::to_string(thread);
}

/// What comes out of each kind where nothing else runs.
std::vector<std::optional<std::uint64_t>> LeadAllAlone() {
    std::vector<std::optional<std::uint64_t>> expected;
    for (const LifeKind& kind : AllLifeKinds()) {
        const std::unique_ptr<Life> life = kind.begin(nullptr, ScratchFile(0));
        expected.push_back(LeadLife(life.get()));
        EndLife(life.get());
        EXPECT_TRUE(expected.back().has_value()) << kind.name;
    }
    return expected;
}

/// Sends lines here and there, and nowhere, until it is told to stop.
void ChangeSinksAndThresholds(const std::atomic<bool>& stop) {
    while (!stop) {
        std::atomic<long> lines{0};
        for (const uvqlog::Severity lowest :
             {uvqlog::Severity::Trace, uvqlog::Severity::Info, uvqlog::Severity::Critical}) {
            uvqlog::SetThreshold(lowest);
            uvqlog::SetSink([&lines](const uvqlog::LogEvent&) { ++lines; });
            uvqlog::SetThreshold("ffmpeg", uvqlog::Severity::Error);
            uvqlog::ForbidLogging(lowest == uvqlog::Severity::Info);
            uvqlog::SetSink([](const uvqlog::LogEvent& event) { ASSERT_FALSE(event.text.empty()); });
        }
        uvqlog::ForbidLogging(false);
    }
}

void Hammer(std::size_t thread) {
    for (int i = 0; i < 20; ++i) {
        CODRELAY_LOG(Critical) << "thread " << thread << ", line " << i;
        FFMPEG_LOG(Trace) << "thread " << thread << ", line " << i;
    }
}

class ManyThreadsTest : public testing::Test {
protected:
    ManyThreadsTest() {
        av_log_set_level(AV_LOG_QUIET);
        uvqlog::SetSink([](const uvqlog::LogEvent&) {});
        m_Expected = LeadAllAlone();
    }
    ~ManyThreadsTest() override {
        uvqlog::SetSink({});
        uvqlog::SetThreshold(uvqlog::Severity::Warning);
    }

    /// Each thread begins with another kind, and comes to each.
    void LeadLives(std::size_t thread) {
        const std::vector<LifeKind>& kinds = AllLifeKinds();
        for (int round = 0; round < Rounds(); ++round) {
            const std::size_t kind = (thread * 7 + static_cast<std::size_t>(round) * 5) % kinds.size();
            const std::unique_ptr<Life> life = kinds[kind].begin(
                [this](std::shared_ptr<CFrameBufferBase>& frame) { m_Exchange.PutIn(frame); }, ScratchFile(thread));
            EXPECT_EQ(LeadLife(life.get()), m_Expected[kind]) << kinds[kind].name;
            DestroyIfBuilt(life.get());
            if (life->IsBuilt()) {
                EXPECT_TRUE(life->Create()) << kinds[kind].name;
            }
            EndLife(life.get());
            Hammer(thread);
        }
    }

    std::vector<std::optional<std::uint64_t>> m_Expected;
    Exchange m_Exchange;
};

TEST_F(ManyThreadsTest, DifferentObjectsDoNotDisturbEachOther) {
    std::atomic<bool> stop{false};
    std::thread changer([&stop] { ChangeSinksAndThresholds(stop); });
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] { LeadLives(thread); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    stop = true;
    changer.join();
}

}  // namespace
