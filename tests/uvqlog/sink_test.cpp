#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "common/log_capture.h"
#include "uvqlog/control.h"
#include "write_record.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using uvqlog::LogEvent;
using uvqlog::Logger;
using uvqlog::SetSink;
using uvqlog::Severity;

class SinkTest : public ::testing::Test {
protected:
    ~SinkTest() override { SetSink(nullptr); }

    void Write(std::string_view text) { WriteRecord(&m_Logger, Severity::Error, text); }

    /// A sink that notes each text in `texts`. For one thread.
    static std::function<void(const LogEvent&)> Noting(std::vector<std::string>* texts) {
        return [texts](const LogEvent& event) { texts->emplace_back(event.text); };
    }

    Logger m_Logger{"sink test", true};
};

TEST_F(SinkTest, TakesEveryRecordOfEveryLoggerInsteadOfTheDefault) {
    std::vector<std::string> texts;
    Logger other("another", true);
    SetSink(Noting(&texts));
    CaptureStderr();
    Write("first");
    WriteRecord(&other, Severity::Trace, "second");
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_THAT(texts, ElementsAre("first", "second"));
}

TEST_F(SinkTest, ReplacesTheFormerSink) {
    std::vector<std::string> former;
    std::vector<std::string> later;
    SetSink(Noting(&former));
    Write("first");
    SetSink(Noting(&later));
    Write("second");
    EXPECT_THAT(former, ElementsAre("first"));
    EXPECT_THAT(later, ElementsAre("second"));
}

TEST_F(SinkTest, AnEmptyFunctionRestoresTheDefault) {
    std::vector<std::string> texts;
    SetSink(Noting(&texts));
    SetSink({});
    CaptureStderr();
    Write("back on stderr");
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("back on stderr"));
    EXPECT_TRUE(texts.empty());
}

TEST_F(SinkTest, WhatItCapturedIsGoneWhenTheNextSinkIsSet) {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = captured;
    SetSink([captured = std::move(captured)](const LogEvent&) { ++*captured; });
    Write("first");
    EXPECT_FALSE(watched.expired());
    SetSink(nullptr);
    EXPECT_TRUE(watched.expired());
}

TEST_F(SinkTest, WhatItThrowsIsDroppedAndItIsCalledAgain) {
    int calls = 0;
    SetSink([&calls](const LogEvent&) {
        ++calls;
        if (calls == 1) {
            throw std::runtime_error("not today");
        }
        throw 5;
    });
    EXPECT_NO_THROW(Write("first"));
    EXPECT_NO_THROW(Write("second"));
    EXPECT_EQ(calls, 2);
}

TEST_F(SinkTest, ARecordLoggedFromInsideGoesToTheDefault) {
    std::vector<std::string> texts;
    SetSink([&](const LogEvent& event) {
        texts.emplace_back(event.text);
        Write("from inside");
    });
    CaptureStderr();
    Write("first");
    Write("second");
    const std::string onStderr = GetCapturedStderr();
    EXPECT_THAT(texts, ElementsAre("first", "second"));
    EXPECT_THAT(onStderr, HasSubstr("from inside"));
    EXPECT_THAT(onStderr, Not(HasSubstr("first")));
}

TEST_F(SinkTest, AfterASinkThrewTheNextRecordStillGoesToItAndNotToTheDefault) {
    std::vector<std::string> texts;
    SetSink([&](const LogEvent& event) {
        texts.emplace_back(event.text);
        throw std::runtime_error("not today");
    });
    Write("first");
    Write("still to the sink");
    EXPECT_THAT(texts, ElementsAre("first", "still to the sink"));
}

TEST_F(SinkTest, SettingASinkFromInsideDoesNotWait) {
    std::vector<std::string> later;
    int calls = 0;
    SetSink([&](const LogEvent&) {
        ++calls;
        SetSink(Noting(&later));
        ++calls;
    });
    Write("first");
    Write("second");
    EXPECT_EQ(calls, 2);
    EXPECT_THAT(later, ElementsAre("second"));
}

TEST_F(SinkTest, ASinkThatRemovesItselfLivesUntilItsCallEnds) {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = captured;
    bool aliveInside = false;
    SetSink([captured = std::move(captured), &watched, &aliveInside](const LogEvent&) {
        SetSink(nullptr);
        ++*captured;
        aliveInside = !watched.expired();
    });
    Write("first");
    EXPECT_TRUE(aliveInside);
    EXPECT_TRUE(watched.expired());
}

TEST_F(SinkTest, SettingASinkWaitsForACallOfTheFormerOneOnAnotherThread) {
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> first{true};
    std::atomic<bool> replaced{false};
    std::atomic<bool> replacedTooEarly{false};
    SetSink([&](const LogEvent&) {
        if (first.exchange(false)) {
            entered.set_value();
            release.get_future().wait();
            replacedTooEarly = replaced.load();
        }
    });
    std::thread logging([this] { Write("held inside the former sink"); });
    entered.get_future().wait();

    std::atomic<bool> laterCalled{false};
    std::thread replacing([&] {
        SetSink([&](const LogEvent&) { laterCalled = true; });
        replaced = true;
    });
    // Once the later sink is reached, the other thread can only be waiting for the former one.
    while (!laterCalled) {
        Write("to the later sink");
    }
    EXPECT_FALSE(replaced);
    release.set_value();
    logging.join();
    replacing.join();
    EXPECT_TRUE(replaced);
    EXPECT_FALSE(replacedTooEarly);
}

TEST_F(SinkTest, AFormerSinkIsNeverCalledNorRunningOnceTheNextIsSet) {
    std::atomic<bool> stop{false};
    std::atomic<int> calls{0};
    std::atomic<int> callsOfTheDead{0};
    std::vector<std::thread> threads;
    SetSink([](const LogEvent&) {});
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                Write("again");
            }
        });
    }
    // Each sink's flag is freed at the end of its round: a late call would be a use after free as well.
    int capturesLeft = 0;
    for (int round = 0; round < 150; ++round) {
        auto dead = std::make_unique<std::atomic<bool>>(false);
        auto captured = std::make_shared<int>(0);
        const std::weak_ptr<int> watched = captured;
        SetSink([&, flag = dead.get(), captured = std::move(captured)](const LogEvent&) {
            callsOfTheDead += *flag ? 1 : 0;
            ++calls;
            std::this_thread::yield();
            callsOfTheDead += *flag ? 1 : 0;
        });
        const int callsBefore = calls;
        while (calls == callsBefore) {
            std::this_thread::yield();
        }
        SetSink([](const LogEvent&) {});
        *dead = true;
        capturesLeft += watched.expired() ? 0 : 1;
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(callsOfTheDead, 0);
    EXPECT_EQ(capturesLeft, 0) << "what a former sink captured outlived it";
    EXPECT_GE(calls, 150);
}

TEST_F(SinkTest, SeveralThreadsMaySetSinksAndLogAtOnce) {
    std::atomic<int> calls{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                SetSink([&](const LogEvent&) { ++calls; });
                Write("again");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 4 * 300);
}

TEST_F(SinkTest, NoRecordOfSeveralThreadsIsLost) {
    LogCapture log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int record = 0; record < 1000; ++record) {
                Write("one of many");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<LoggedLine> lines = log.Take();
    EXPECT_EQ(lines.size(), 4000U);
    EXPECT_THAT(lines, ::testing::Each(LoggedLine{"sink test", Severity::Error, "one of many"}));
}

}  // namespace
