#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "common/allocation_counter.h"
#include "common/host_locale.h"
#include "uvqlog/control.h"
#include "write_record.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using uvqlog::Logger;
using uvqlog::LogToRotatingFile;
using uvqlog::Severity;

constexpr std::size_t kPlenty = 1 << 20;

class RotatingFileTest : public ::testing::Test {
protected:
    RotatingFileTest() : m_Folder(fs::path(::testing::TempDir()) / ("uvqlog-" + std::to_string(getpid()))) {
        fs::remove_all(m_Folder);
        fs::create_directory(m_Folder);
        uvqlog::SetSink(nullptr);  // what is made once is made, and no refused allocation meets it
    }
    ~RotatingFileTest() override { fs::remove_all(m_Folder); }

    std::string Path(const std::string& name) { return (m_Folder / name).string(); }
    void Write(std::string_view text) { WriteRecord(&m_Logger, Severity::Error, text); }

    /// Writes a line while its allocations from the `nth` to the `last` are refused. False if it makes fewer than
    /// `nth`.
    bool WriteWithRefusals(int nth, int last, std::string_view text) {
        auto record = std::make_shared<uvqlog::LogRecord>(Severity::Error);
        record->WriteData(text.data(), static_cast<int>(text.size()));
        AllocationCounter memory;
        memory.firstRefused = nth;
        memory.lastRefused = last;
        m_Logger.Write(record);
        return memory.asked >= nth;
    }

    static std::vector<std::string> LinesOf(const std::string& path) {
        std::ifstream file(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    fs::path m_Folder;
    Logger m_Logger{"file test", true};
};

TEST_F(RotatingFileTest, TakesTheLinesThatWentToStderr) {
    LogToRotatingFile(Path("log.txt"), kPlenty, 1);
    CaptureStderr();
    Write("first");
    Write("second");
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_THAT(LinesOf(Path("log.txt")),
                ElementsAre(MatchesRegex(R"([0-9T:.+-]+ \[file test\] \[error\] first)"), HasSubstr("second")));
}

TEST_F(RotatingFileTest, IsTheDefaultOnlyAndYieldsToASink) {
    LogToRotatingFile(Path("log.txt"), kPlenty, 1);
    uvqlog::SetSink([](const uvqlog::LogEvent&) {});
    Write("to the sink");
    uvqlog::SetSink(nullptr);
    Write("to the file");
    EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(HasSubstr("to the file")));
}

TEST_F(RotatingFileTest, AppendsToAFileThatIsThere) {
    std::ofstream(Path("log.txt")) << "older\n";
    LogToRotatingFile(Path("log.txt"), kPlenty, 1);
    Write("newer");
    EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre("older", HasSubstr("newer")));
}

TEST_F(RotatingFileTest, MakesTheFoldersThatAreMissing) {
    LogToRotatingFile(Path("one/two/log.txt"), kPlenty, 1);
    Write("first");
    EXPECT_THAT(LinesOf(Path("one/two/log.txt")), SizeIs(1));
}

TEST_F(RotatingFileTest, RenamesAFileThatWouldGrowTooLargeAndKeepsNoMoreThanAsked) {
    const std::string longText(100, 'x');  // two of these lines do not fit into 200 bytes
    LogToRotatingFile(Path("log.txt"), 200, 2);
    for (int i = 1; i <= 5; ++i) {
        Write(longText + std::to_string(i));
    }
    EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(HasSubstr("x5")));
    EXPECT_THAT(LinesOf(Path("log.1.txt")), ElementsAre(HasSubstr("x4")));
    EXPECT_THAT(LinesOf(Path("log.2.txt")), ElementsAre(HasSubstr("x3")));
    EXPECT_FALSE(fs::exists(Path("log.3.txt")));
}

TEST_F(RotatingFileTest, StartsOverWhereNoOlderFileIsToBeKept) {
    LogToRotatingFile(Path("log.txt"), 1, 0);
    Write("first");
    Write("second");
    EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(HasSubstr("second")));
    EXPECT_FALSE(fs::exists(Path("log.1.txt")));
}

TEST_F(RotatingFileTest, ALaterFileReplacesTheFormer) {
    LogToRotatingFile(Path("former.txt"), kPlenty, 1);
    Write("first");
    LogToRotatingFile(Path("later.txt"), kPlenty, 1);
    Write("second");
    EXPECT_THAT(LinesOf(Path("former.txt")), ElementsAre(HasSubstr("first")));
    EXPECT_THAT(LinesOf(Path("later.txt")), ElementsAre(HasSubstr("second")));
}

TEST_F(RotatingFileTest, ThrowsWhereTheFileCannotBeOpenedAndLeavesTheDefaultAsItWas) {
    LogToRotatingFile(Path("log.txt"), kPlenty, 1);
    EXPECT_THROW(LogToRotatingFile(m_Folder.string(), kPlenty, 1), std::runtime_error);
    EXPECT_THROW(LogToRotatingFile(Path("log.txt/below a file.txt"), kPlenty, 1), std::runtime_error);
    EXPECT_THROW(LogToRotatingFile(Path("no room.txt"), 0, 1), std::runtime_error);
    EXPECT_THROW(LogToRotatingFile(Path("too many.txt"), kPlenty, 200001), std::runtime_error);
    Write("still here");
    EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(HasSubstr("still here")));
}

TEST_F(RotatingFileTest, AFileThatCannotBeWrittenIsGivenUpForStderrAndNothingIsLost) {
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no device here that is always full";
    }
    LogToRotatingFile("/dev/full", kPlenty, 0);
    CaptureStderr();
    EXPECT_NO_THROW(Write("first"));
    Write("second");
    const std::string onStderr = GetCapturedStderr();
    EXPECT_THAT(onStderr, HasSubstr("] first\n"));
    EXPECT_THAT(onStderr, HasSubstr("] second\n"));
}

TEST_F(RotatingFileTest, AFileThatCannotBeOpenedAnewIsGivenUpForStderr) {
    const std::string longText(100, 'x');
    LogToRotatingFile(Path("log.txt"), 200, 1);
    Write(longText);
    fs::create_directories(Path("log.1.txt/in the way"));  // cannot be removed, nor renamed over
    CaptureStderr();
    Write(longText + " second");
    Write("third");
    const std::string onStderr = GetCapturedStderr();
    EXPECT_THAT(onStderr, HasSubstr("second\n"));
    EXPECT_THAT(onStderr, HasSubstr("third\n"));
}

constexpr int kAll = std::numeric_limits<int>::max();

TEST_F(RotatingFileTest, OneAllocationThatFailsLosesNoLine) {
    LogToRotatingFile(Path("log.txt"), kPlenty, 1);
    const std::string longText(1000, 'x');  // more than is put together without the heap
    CaptureStderr();
    int nth = 1;
    while (WriteWithRefusals(nth, nth, longText + std::to_string(nth))) {
        ++nth;
    }
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_GT(nth, 2) << "nothing was refused";
    const std::vector<std::string> lines = LinesOf(Path("log.txt"));
    ASSERT_THAT(lines, SizeIs(nth));
    for (int i = 1; i <= nth; ++i) {
        EXPECT_THAT(lines[static_cast<std::size_t>(i - 1)], EndsWith("x" + std::to_string(i)));
    }
}

TEST_F(RotatingFileTest, OneAllocationThatFailsWhileFilesAreRenamedLosesNoLine) {
    LogToRotatingFile(Path("log.txt"), 200, 2);  // one line in each
    const std::string longText(150, 'x');
    Write(longText);
    CaptureStderr();
    int nth = 0;
    bool refused = true;
    while (refused) {
        const std::string text = longText + std::to_string(++nth);
        refused = WriteWithRefusals(nth, nth, text);
        EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(EndsWith(text))) << "allocation " << nth;
    }
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_GT(nth, 5) << "no name was refused";
}

TEST_F(RotatingFileTest, IsTakenUpAgainWhenThereIsMemoryAgain) {
    LogToRotatingFile(Path("log.txt"), 200, 2);
    const std::string longText(150, 'x');
    Write(longText);
    CaptureStderr();
    int nth = 1;
    while (WriteWithRefusals(nth, kAll, longText)) {
        WriteWithRefusals(1, kAll, "no room");
        const std::string text = longText + std::to_string(nth++);
        Write(text);
        EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(EndsWith(text))) << "allocation " << nth;
    }
    EXPECT_GT(nth, 5) << "no name was refused";
    EXPECT_THAT(GetCapturedStderr(), Not(HasSubstr("x")));
}

TEST_F(RotatingFileTest, ALineThatNeedsNoMemoryGoesToStderrWhileTheFileCannotBeTakenUp) {
    LogToRotatingFile(Path("log.txt"), 200, 2);
    const std::string longText(150, 'x');
    Write(longText);
    EXPECT_TRUE(WriteWithRefusals(3, kAll, longText));  // closed to be renamed, and not opened anew
    CaptureStderr();
    EXPECT_TRUE(WriteWithRefusals(1, kAll, "short"));
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("] short\n"));
}

// Where memory runs out, opening a file may fail as if it were not there.
TEST_F(RotatingFileTest, IsTakenUpAgainAfterItCouldNotBeOpenedAnew) {
    LogToRotatingFile(Path("log.txt"), kPlenty, 2);
    const std::string longText(1000, 'x');
    fs::rename(Path("log.txt"), Path("away.txt"));
    fs::create_directory(Path("log.txt"));
    CaptureStderr();
    EXPECT_TRUE(WriteWithRefusals(1, 1, longText + "1"));
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("x1\n"));
    fs::remove(Path("log.txt"));
    Write("2");
    EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(EndsWith(" 2")));
}

TEST_F(RotatingFileTest, IsTakenUpWhereItWasWhenTheProcessHasChangedItsFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(m_Folder);
    LogToRotatingFile("log.txt", kPlenty, 2);
    fs::current_path(before);
    EXPECT_TRUE(WriteWithRefusals(1, 1, std::string(1000, 'x')));
    EXPECT_THAT(LinesOf(Path("log.txt")), ElementsAre(EndsWith("x")));
    EXPECT_FALSE(fs::exists("log.txt"));
}

TEST_F(RotatingFileTest, NamesAndLinesAreTheSameInAnyLocaleOfTheHost) {
    const HostLocale host;
    LogToRotatingFile(Path("log.txt"), 1, 12);
    for (int i = 0; i < 12; ++i) {
        Write("1920");
    }
    EXPECT_THAT(LinesOf(Path("log.11.txt")),
                ElementsAre(MatchesRegex(R"([0-9]{4}-[0-9T:.+-]+ \[file test\] \[error\] 1920)")));
}

TEST_F(RotatingFileTest, NoLineOfSeveralThreadsIsLostOrMixed) {
    LogToRotatingFile(Path("log.txt"), kPlenty, 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int record = 0; record < 100; ++record) {
                Write("whole line");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<std::string> lines = LinesOf(Path("log.txt"));
    EXPECT_THAT(lines, SizeIs(400));
    EXPECT_THAT(lines, ::testing::Each(MatchesRegex(R"([0-9T:.+-]+ \[file test\] \[error\] whole line)")));
}

}  // namespace
