#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "common/log_capture.h"
#include "uvqlog/control.h"
#include "write_record.h"

namespace {

using ::testing::ElementsAre;
using uvqlog::Logger;
using uvqlog::LogRecord;
using uvqlog::Severity;

TEST(LoggerTest, CopiesItsName) {
    std::string name = "copied";
    Logger logger(name.c_str(), true);
    name = "changed";
    EXPECT_EQ(logger.GetName(), "copied");
}

TEST(LoggerTest, WritesARecordWithItsNameSeverityTimeAndText) {
    Logger logger("complete", true);
    auto record = std::make_shared<LogRecord>(Severity::Info);
    record->WriteData("a\0b", 3);
    bool seen = false;
    uvqlog::SetSink([&](const uvqlog::LogEvent& event) {
        seen = true;
        EXPECT_EQ(event.logger, "complete");
        EXPECT_EQ(event.severity, Severity::Info);
        EXPECT_EQ(event.time, record->GetTime());
        EXPECT_EQ(event.text, std::string("a\0b", 3));
    });
    logger.Write(record);
    uvqlog::SetSink(nullptr);
    EXPECT_TRUE(seen);
    EXPECT_EQ(record.use_count(), 1) << "the logger kept the record";
}

TEST(LoggerTest, WritesWhateverTheThresholdSays) {
    LogCapture log(Severity::Critical);
    Logger logger("finished", true);
    WriteRecord(&logger, Severity::Trace, "a finished record");
    EXPECT_THAT(log.Take(), ElementsAre(LoggedLine{"finished", Severity::Trace, "a finished record"}));
}

class KeepingLogger : public Logger {
public:
    using Logger::Logger;
    void Write(const std::shared_ptr<LogRecord>& record) override {
        Logger::Write(record);
        kept.push_back(record);
    }

    std::vector<std::shared_ptr<LogRecord>> kept;
};

TEST(LoggerTest, ADerivedLoggerMayKeepTheRecord) {
    LogCapture log;
    KeepingLogger logger("keeping", true);
    WriteRecord(&logger, Severity::Error, "kept for later");
    ASSERT_EQ(logger.kept.size(), 1U);
    EXPECT_EQ(logger.kept[0].use_count(), 1);
    EXPECT_EQ(logger.kept[0]->GetSeverity(), Severity::Error);
    EXPECT_EQ(logger.kept[0]->GetText(), "kept for later");
    EXPECT_THAT(log.Take(), ElementsAre(LoggedLine{"keeping", Severity::Error, "kept for later"}));
}

class DeafLogger : public Logger {
public:
    using Logger::Logger;
    bool IsEnabled(Severity severity) override { return severity == Severity::Info; }
};

TEST(LoggerTest, ADerivedLoggerMayDecideWhatIsEnabled) {
    DeafLogger logger("deaf", true);
    Logger* base = &logger;
    EXPECT_TRUE(base->IsEnabled(Severity::Info));
    EXPECT_FALSE(base->IsEnabled(Severity::Critical));
}

TEST(ForbiddingTest, IsOffUntilItIsAskedForAndCanBeTakenBack) {
    EXPECT_FALSE(uvqlog::IsLoggingForbidden());
    uvqlog::ForbidLogging(true);
    EXPECT_TRUE(uvqlog::IsLoggingForbidden());
    uvqlog::ForbidLogging(false);
    EXPECT_FALSE(uvqlog::IsLoggingForbidden());
}

TEST(ForbiddingTest, LeavesThresholdsAsTheyAre) {
    Logger logger("forbidden", true);
    uvqlog::SetThreshold("forbidden", Severity::Error);
    uvqlog::ForbidLogging(true);
    EXPECT_TRUE(logger.IsEnabled(Severity::Error));
    EXPECT_FALSE(logger.IsEnabled(Severity::Warning));
    uvqlog::ForbidLogging(false);
    uvqlog::SetThreshold(Severity::Warning);
}

}  // namespace
