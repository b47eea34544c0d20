#include "video_decoder/frame_pool.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "codrelay/media_ids.h"
#include "common/allocation_counter.h"
#include "video_decoder/pool_frames.h"

namespace {

constexpr unsigned int kFrameSize = 1000;
// A frame object or a shared owner; far from a picture.
constexpr std::size_t kSmall = 256;

class Callback : public CFrameBufferStreamCallback {
public:
    explicit Callback(std::function<bool()> wait) : m_Wait(std::move(wait)) {}
    bool WaitForFreeFrame() override {
        ++calls;
        return m_Wait();
    }

    int calls = 0;

private:
    std::function<bool()> m_Wait;
};

Frame Take(ThreadsafeFramePool& pool) {
    Frame frame;
    EXPECT_TRUE(pool.GetFrame(frame));
    return frame;
}

std::vector<Frame> TakeAll(ThreadsafeFramePool& pool) {
    std::vector<Frame> frames(kBudget);
    for (Frame& frame : frames) {
        frame = Take(pool);
    }
    return frames;
}

class PlainFrame : public CFrameBufferBase {
public:
    unsigned char* GetData() override { return nullptr; }
    const unsigned char* GetConstData() override { return nullptr; }
};

TEST(FrameBuffer, StartsEmptyAndCostsNoAllocation) {
    AllocationCounter allocations;
    PlainFrame frame;
    EXPECT_EQ(allocations.count, 0);
    EXPECT_EQ(frame.m_nTimestamp, 0);
    EXPECT_EQ(frame.m_nColorSpace, 0U);
    EXPECT_EQ(frame.m_nWidth, 0U);
    EXPECT_EQ(frame.m_nHeight, 0U);
    EXPECT_TRUE(frame.m_Extras.empty());
    EXPECT_EQ(frame.m_Extras.bucket_count(), 16U);
    EXPECT_EQ(frame.m_Extras.max_load_factor(), 1.0F);
    EXPECT_EQ(frame.GetAuxiliary(), 0);
}

TEST(FrameBuffer, TellsTheColorSpaceOfItsField) {
    PlainFrame frame;
    EXPECT_EQ(frame.GetColorSpace(), 0U);
    frame.m_nColorSpace = CSP_BGRA;
    EXPECT_EQ(frame.GetColorSpace(), CSP_BGRA);
}

TEST(FrameBuffer, HoldsSideDataUntilItGoes) {
    const auto data = std::make_shared<int>(7);
    {
        PlainFrame frame;
        frame.m_Extras["number"] = data;
        EXPECT_EQ(data.use_count(), 2);
    }
    EXPECT_EQ(data.use_count(), 1);
}

TEST(FramePool, HasNothingBeforeInit) {
    ThreadsafeFramePool pool;
    const auto held = std::make_shared<PlainFrame>();
    Frame frame = held;
    EXPECT_FALSE(pool.GetFrame(frame));
    EXPECT_EQ(frame, held);
    EXPECT_EQ(pool.FrameSize(), 0U);
}

TEST(FramePool, HasNothingAfterClearAndDoesNotAskForIt) {
    Callback callback([] { return true; });
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, &callback);
    pool.Clear();
    Frame frame;
    EXPECT_FALSE(pool.GetFrame(frame));
    EXPECT_EQ(callback.calls, 0);
    EXPECT_EQ(pool.FrameSize(), 0U);
}

TEST(FramePool, SecondInitChangesNothing) {
    Callback first([] { return false; });
    Callback second([] { return false; });
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, &first);
    const Frame frame = Take(pool);
    pool.Init(2 * kFrameSize, &second);
    EXPECT_EQ(pool.FrameSize(), kFrameSize);
    std::vector<Frame> others(kBudget - 1);
    for (Frame& other : others) {
        other = Take(pool);
    }
    Frame none;
    EXPECT_FALSE(pool.GetFrame(none));
    EXPECT_EQ(first.calls, 1);
    EXPECT_EQ(second.calls, 0);
}

TEST(FramePool, InitWithSizeZeroLeavesItIdle) {
    Callback never([] { return false; });
    ThreadsafeFramePool pool;
    pool.Init(0, &never);
    Frame frame;
    EXPECT_FALSE(pool.GetFrame(frame));
    EXPECT_EQ(never.calls, 0);
    pool.Init(kFrameSize, nullptr);
    EXPECT_TRUE(pool.GetFrame(frame));
    EXPECT_EQ(pool.FrameSize(), kFrameSize);
}

TEST(FramePool, NinthFrameFailsWithoutACallbackUntilOneComesBack) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    std::vector<Frame> frames = TakeAll(pool);
    Frame ninth;
    EXPECT_FALSE(pool.GetFrame(ninth));
    EXPECT_EQ(ninth, nullptr);

    const unsigned char* bytes = frames[3]->GetData();
    frames[3].reset();
    AllocationCounter allocations;
    EXPECT_TRUE(pool.GetFrame(ninth));
    EXPECT_LT(allocations.largest, kSmall);
    EXPECT_EQ(ninth->GetData(), bytes);
}

TEST(FramePool, NewBufferIsZeroAndRecycledOneKeepsItsBytes) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    Frame frame = Take(pool);
    EXPECT_TRUE(IsFilledWith(*frame, kFrameSize, 0));
    EXPECT_EQ(frame->GetConstData(), frame->GetData());
    std::memset(frame->GetData(), 0x5a, kFrameSize);
    frame->m_nTimestamp = 1;
    frame->m_nColorSpace = frame->m_nWidth = frame->m_nHeight = 2;
    frame.reset();

    frame = Take(pool);
    EXPECT_TRUE(IsFilledWith(*frame, kFrameSize, 0x5a));
    EXPECT_EQ(frame->m_nTimestamp, 0);
    EXPECT_EQ(frame->m_nColorSpace, 0U);
    EXPECT_EQ(frame->m_nWidth, 0U);
    EXPECT_EQ(frame->m_nHeight, 0U);
    EXPECT_EQ(frame->GetAuxiliary(), 0);
}

TEST(FramePool, PrefersAFreeBufferToANewOne) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    Frame first = Take(pool);
    Frame second = Take(pool);
    const unsigned char* bytes = first->GetData();
    first.reset();
    const Frame third = Take(pool);
    EXPECT_EQ(third->GetData(), bytes);
}

TEST(FramePool, HandsOutLastReturnedFirst) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    std::array<Frame, 3> frames{Take(pool), Take(pool), Take(pool)};
    std::vector<const unsigned char*> returned;
    for (Frame& frame : frames) {
        returned.push_back(frame->GetData());
        frame.reset();
    }
    std::reverse(returned.begin(), returned.end());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        frames[i] = Take(pool);
        EXPECT_EQ(frames[i]->GetData(), returned[i]) << i;
    }
}

TEST(FramePool, HandOutCostsTwoSmallAllocations) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    Frame frame = Take(pool);
    Frame other = Take(pool);
    for (int round = 0; round < 10; ++round) {
        other.reset();
        AllocationCounter allocations;
        ASSERT_TRUE(pool.GetFrame(other));
        EXPECT_EQ(allocations.count, 2);
        EXPECT_LT(allocations.largest, kSmall);
    }
}

TEST(FramePool, ReturningAFrameAllocatesNothing) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    std::vector<Frame> frames = TakeAll(pool);
    AllocationCounter allocations;
    for (Frame& frame : frames) {
        frame.reset();
    }
    EXPECT_EQ(allocations.count, 0);
}

TEST(FramePool, OnePointerUsedOverAndOverLivesOnTwoBuffers) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    Frame frame = Take(pool);
    const unsigned char* first = frame->GetData();
    ASSERT_TRUE(pool.GetFrame(frame));
    const unsigned char* second = frame->GetData();
    EXPECT_NE(first, second);
    for (int round = 0; round < 10; ++round) {
        ASSERT_TRUE(pool.GetFrame(frame));
        EXPECT_EQ(frame->GetData(), round % 2 == 0 ? first : second);
    }
}

TEST(FramePool, CallbackThatSaysNoIsAskedOnce) {
    Callback callback([] { return false; });
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, &callback);
    std::vector<Frame> frames = TakeAll(pool);
    EXPECT_EQ(callback.calls, 0);
    Frame frame = frames[0];
    EXPECT_FALSE(pool.GetFrame(frame));
    EXPECT_EQ(frame, frames[0]);
    EXPECT_EQ(callback.calls, 1);
}

TEST(FramePool, CallbackThatFreesNothingIsAskedAgainAtOnce) {
    int patience = 1000;
    Callback callback([&patience] { return --patience > 0; });
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, &callback);
    const std::vector<Frame> frames = TakeAll(pool);
    Frame frame;
    EXPECT_FALSE(pool.GetFrame(frame));
    EXPECT_EQ(callback.calls, 1000);
}

TEST(FramePool, CallbackMayFreeFromInside) {
    std::vector<Frame> frames;
    Callback callback([&frames] {
        frames.pop_back();
        return true;
    });
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, &callback);
    frames = TakeAll(pool);
    const unsigned char* bytes = frames.back()->GetData();
    const Frame ninth = Take(pool);
    EXPECT_EQ(ninth->GetData(), bytes);
    EXPECT_EQ(callback.calls, 1);
}

TEST(FramePool, CallbackMayHaveAnotherThreadFree) {
    std::vector<Frame> frames;
    Callback callback([&frames] {
        std::thread([&frames] { frames.pop_back(); }).join();
        return true;
    });
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, &callback);
    frames = TakeAll(pool);
    for (int round = 0; round < 20; ++round) {
        frames.push_back(Take(pool));
    }
    EXPECT_EQ(callback.calls, 20);
    EXPECT_EQ(frames.size(), kBudget);
}

TEST(FramePool, CallbackThatClearsThePoolEndsTheSearch) {
    ThreadsafeFramePool pool;
    Callback callback([&pool] {
        pool.Clear();
        return true;
    });
    pool.Init(kFrameSize, &callback);
    const std::vector<Frame> frames = TakeAll(pool);
    Frame frame;
    EXPECT_FALSE(pool.GetFrame(frame));
    EXPECT_EQ(callback.calls, 1);
}

TEST(FramePool, FrameReleasedAfterClearDoesNotComeBack) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    Frame old = Take(pool);
    std::memset(old->GetData(), 0x5a, kFrameSize);
    pool.Clear();
    pool.Init(kFrameSize, nullptr);
    EXPECT_TRUE(IsFilledWith(*old, kFrameSize, 0x5a));
    old.reset();
    for (const Frame& frame : TakeAll(pool)) {
        EXPECT_TRUE(IsFilledWith(*frame, kFrameSize, 0));
    }
}

TEST(FramePool, BuffersThatWereFreeBeforeClearServeNoLargerSize) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    std::array<Frame, 3> held{Take(pool), Take(pool), Take(pool)};
    for (Frame& frame : held) {
        std::memset(frame->GetData(), 0x5a, kFrameSize);
        frame.reset();
    }
    pool.Clear();
    pool.Init(2 * kFrameSize, nullptr);
    for (const Frame& frame : TakeAll(pool)) {
        ASSERT_TRUE(IsFilledWith(*frame, 2 * kFrameSize, 0));
    }
}

TEST(FramePool, HasTheWholeBudgetAgainAfterClearAndInit) {
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, nullptr);
    const std::vector<Frame> old = TakeAll(pool);
    pool.Clear();
    pool.Init(2 * kFrameSize, nullptr);
    std::vector<Frame> fresh = TakeAll(pool);
    Frame ninth;
    EXPECT_FALSE(pool.GetFrame(ninth));
    EXPECT_TRUE(IsFilledWith(*fresh.back(), 2 * kFrameSize, 0));
    fresh.pop_back();
    EXPECT_TRUE(pool.GetFrame(ninth));
}

TEST(FramePool, ClearOfAnIdlePoolIsHarmless) {
    ThreadsafeFramePool pool;
    pool.Clear();
    pool.Clear();
    pool.Init(kFrameSize, nullptr);
    EXPECT_NE(Take(pool), nullptr);
}

TEST(FramePool, FrameOutlivesThePool) {
    Frame frame;
    {
        ThreadsafeFramePool pool;
        pool.Init(kFrameSize, nullptr);
        frame = Take(pool);
        const Frame free = Take(pool);
    }
    std::memset(frame->GetData(), 0x5a, kFrameSize);
    EXPECT_TRUE(IsFilledWith(*frame, kFrameSize, 0x5a));
}

// The frame object, its owner, the buffer with its owner, the bytes: nothing waits for the other frame.
TEST(FramePool, FrameReleasedAfterThePoolsDeathFreesItsBytes) {
    Frame frame;
    Frame other;
    {
        ThreadsafeFramePool pool;
        pool.Init(kFrameSize, nullptr);
        frame = Take(pool);
        other = Take(pool);
        AllocationCounter allocations;
        frame.reset();
        EXPECT_EQ(allocations.freed, 2);
        frame = Take(pool);
    }
    AllocationCounter allocations;
    frame.reset();
    EXPECT_EQ(allocations.freed, 4);
    other.reset();
    EXPECT_EQ(allocations.freed, 4 + 4 + 3);  // and what pool and frames shared: its record, mutex and list
}

// A buffer is its bytes and their owner; what frames still hold stays.
TEST(FramePool, ClearAndThePoolsDeathFreeTheBuffersThatNoFrameHolds) {
    auto pool = std::make_unique<ThreadsafeFramePool>();
    Frame outlives;
    for (const bool dies : {false, true}) {
        pool->Init(kFrameSize, nullptr);
        std::vector<Frame> frames = TakeAll(*pool);
        outlives = frames[0];
        frames.clear();
        AllocationCounter allocations;
        if (dies) {
            pool.reset();
            EXPECT_EQ(allocations.freed, 7 * 2 + 1);  // and the pool itself
        } else {
            pool->Clear();
            EXPECT_EQ(allocations.freed, 7 * 2);
        }
    }
}

// More frames than the pool has, through a queue: the taker overtakes the others and has to wait for them.
TEST(FramePool, FramesComeBackFromOtherThreadsWhileMoreAreWanted) {
    constexpr int kFrames = 2000;
    std::mutex mutex;
    std::deque<Frame> queue;
    const auto pop = [&mutex, &queue] {
        const std::lock_guard<std::mutex> lock(mutex);
        if (queue.empty()) {
            return Frame();
        }
        Frame frame = std::move(queue.front());
        queue.pop_front();
        return frame;
    };
    std::atomic<int> seen{0};
    const auto consume = [&seen, &pop] {
        while (seen.load() < kFrames) {
            if (const Frame frame = pop()) {
                EXPECT_TRUE(IsFilledWith(*frame, kFrameSize, static_cast<unsigned char>(frame->m_nTimestamp)));
                ++seen;
            } else {
                std::this_thread::yield();
            }
        }
    };
    Callback callback([] {
        std::this_thread::yield();
        return true;
    });
    ThreadsafeFramePool pool;
    pool.Init(kFrameSize, &callback);
    std::thread one(consume);
    std::thread other(consume);
    for (int number = 0; number < kFrames; ++number) {
        Frame frame = Take(pool);
        frame->m_nTimestamp = number;
        std::memset(frame->GetData(), number & 0xff, kFrameSize);
        const std::lock_guard<std::mutex> lock(mutex);
        queue.push_back(std::move(frame));
    }
    one.join();
    other.join();
    EXPECT_EQ(TakeAll(pool).size(), kBudget);
}

}  // namespace
