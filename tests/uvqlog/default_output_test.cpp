#include <gmock/gmock.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "common/host_locale.h"
#include "uvqlog/control.h"
#include "write_record.h"

namespace {

using ::testing::ContainsRegex;
using ::testing::ExitedWithCode;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using uvqlog::Logger;
using uvqlog::Severity;

/// One line as the default writes it: time with its offset, logger, severity, text.
std::string LinePattern(const std::string& logger, const std::string& severity, const std::string& text) {
    return R"(^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3}[+-][0-9]{2}:[0-9]{2} \[)" + logger +
           R"(\] \[)" + severity + R"(\] )" + text + "\n$";
}

std::string WrittenToStderr(Severity severity, std::string_view text) {
    Logger logger("default test", true);
    CaptureStderr();
    WriteRecord(&logger, severity, text);
    return GetCapturedStderr();
}

TEST(DefaultOutputTest, WritesALineWithTimeLoggerAndSeverityForEachRecord) {
    EXPECT_THAT(WrittenToStderr(Severity::Trace, "a"), MatchesRegex(LinePattern("default test", "trace", "a")));
    EXPECT_THAT(WrittenToStderr(Severity::Info, "b"), MatchesRegex(LinePattern("default test", "info", "b")));
    EXPECT_THAT(WrittenToStderr(Severity::Warning, "c"), MatchesRegex(LinePattern("default test", "warning", "c")));
    EXPECT_THAT(WrittenToStderr(Severity::Error, "d"), MatchesRegex(LinePattern("default test", "error", "d")));
    EXPECT_THAT(WrittenToStderr(Severity::Critical, "e"), MatchesRegex(LinePattern("default test", "critical", "e")));
}

TEST(DefaultOutputTest, KeepsARecordOnOneLineWhateverItHolds) {
    EXPECT_THAT(WrittenToStderr(Severity::Error, "no such file: a\nb\r\nc"),
                MatchesRegex(LinePattern("default test", "error", "no such file: a b  c")));
}

TEST(DefaultOutputTest, TakesTextThatLooksLikeAFormatAsItIs) {
    EXPECT_THAT(WrittenToStderr(Severity::Error, "{} %s {0"), HasSubstr("{} %s {0\n"));
}

TEST(DefaultOutputTest, TellsWhenTheRecordWasMadeAndNotWhenItIsWritten) {
    using std::chrono::milliseconds;
    Logger logger("default test", true);
    const auto record = std::make_shared<uvqlog::LogRecord>(Severity::Error);
    while (std::chrono::system_clock::now() < record->GetTime() + milliseconds(2)) {
    }
    CaptureStderr();
    logger.Write(record);
    const auto sinceEpoch = std::chrono::duration_cast<milliseconds>(record->GetTime().time_since_epoch()).count();
    const std::string digits = std::to_string(1000 + sinceEpoch % 1000).substr(1);
    EXPECT_THAT(GetCapturedStderr(), ContainsRegex("\\." + digits + "[+-]"));
}

TEST(DefaultOutputTest, WritesTheSameInAnyLocaleOfTheHost) {
    const HostLocale host;
    EXPECT_THAT(WrittenToStderr(Severity::Error, "1920"), MatchesRegex(LinePattern("default test", "error", "1920")));
}

TEST(DefaultOutputTest, IsQuietBelowWarningOutOfTheBox) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a program that has touched nothing yet
    EXPECT_EXIT(
        {
            Logger logger("fresh", true);
            for (Severity severity :
                 {Severity::Trace, Severity::Info, Severity::Warning, Severity::Error, Severity::Critical}) {
                if (logger.IsEnabled(severity)) {
                    WriteRecord(&logger, severity, "severity " + std::to_string(static_cast<int>(severity)));
                }
            }
            std::exit(0);
        },
        ExitedWithCode(0),
        AllOf(ContainsRegex(
                  "fresh\\] \\[warning\\] severity 4\n.*\\[error\\] severity 8\n.*\\[critical\\] severity 16\n"),
              Not(HasSubstr("severity 1\n")), Not(HasSubstr("severity 2\n"))));
}

TEST(DefaultOutputTest, LinesOfSeveralThreadsDoNotMix) {
    Logger logger("threads", true);
    CaptureStderr();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&logger, text = std::string(100, static_cast<char>('a' + i))] {
            for (int record = 0; record < 50; ++record) {
                WriteRecord(&logger, Severity::Error, text);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::istringstream written(GetCapturedStderr());
    int lines = 0;
    for (std::string line; std::getline(written, line); ++lines) {
        EXPECT_THAT(line, MatchesRegex(".* \\[threads\\] \\[error\\] (a{100}|b{100}|c{100}|d{100})"));
    }
    EXPECT_EQ(lines, 200);
}

TEST(DefaultOutputTest, ARecordWrittenAfterEveryDestructorStillArrives) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atexit([] {
                Logger late("late", true);
                WriteRecord(&late, Severity::Warning, "the very last words");
            });
            Logger logger("early", true);
            WriteRecord(&logger, Severity::Warning, "the first words");
            std::exit(0);
        },
        ExitedWithCode(0),
        ContainsRegex("early\\] \\[warning\\] the first words\n.*late\\] \\[warning\\] the very last"));
}

// A host may use spdlog itself: neither side sees the other.
TEST(DefaultOutputTest, NeitherEntersNorObeysTheHostsSpdlog) {
    auto hostsDefault = spdlog::default_logger();
    EXPECT_THAT(WrittenToStderr(Severity::Error, "before"), HasSubstr("before"));
    EXPECT_EQ(spdlog::get("default test"), nullptr);
    int known = 0;
    spdlog::apply_all([&known](const std::shared_ptr<spdlog::logger>&) { ++known; });
    EXPECT_EQ(known, 1) << "more than the host's own default logger";

    spdlog::set_level(spdlog::level::off);
    spdlog::set_pattern("host: %v");
    spdlog::shutdown();
    EXPECT_THAT(WrittenToStderr(Severity::Error, "after"), MatchesRegex(LinePattern("default test", "error", "after")));
}

}  // namespace
