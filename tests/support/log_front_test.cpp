#include "support/log_front.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "common/host_locale.h"
#include "common/log_capture.h"
#include "uvqlog/control.h"

namespace {

// Every allocation of the program is counted for the thread that makes it.
thread_local int allocations = 0;
thread_local int liveAllocations = 0;
thread_local int untilFailure = 0;  // the allocation that is refused, counted down; none at 0

}  // namespace

void* operator new(std::size_t size) {
    const bool refused = untilFailure > 0 && --untilFailure == 0;
    void* memory = refused ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++allocations;
    ++liveAllocations;
    return memory;
}

void operator delete(void* memory) noexcept {
    liveAllocations -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using uvqlog::Logger;
using uvqlog::LogRecord;
using uvqlog::SetThreshold;
using uvqlog::Severity;

static_assert(sizeof(LogLine) == 3 * sizeof(void*), "a line is three words on the stack");
static_assert(std::is_same_v<decltype(&uvq_log_logger__codrelay), Logger* (*)()>);
static_assert(std::is_same_v<decltype(&uvq_log_logger__ffmpeg), Logger* (*)()>);

/// A logger whose answers are set, and which keeps what it is given.
class ScriptedLogger : public Logger {
public:
    ScriptedLogger() : Logger("scripted", true) { kept.reserve(16); }
    bool IsEnabled(Severity severity) override {
        asked = severity;
        return enabled;
    }
    void Write(const std::shared_ptr<LogRecord>& record) override { kept.push_back(record); }

    bool enabled = true;
    Severity asked{};
    std::vector<std::shared_ptr<LogRecord>> kept;
};

ScriptedLogger* scriptedLogger = nullptr;
int accessorCalls = 0;

Logger* ScriptedAccessor() {
    ++accessorCalls;
    return scriptedLogger;
}

#define SCRIPTED_LOG(severity) CODRELAY_LOG_LINE(severity, ScriptedAccessor)

class LogFrontTest : public ::testing::Test {
protected:
    LogFrontTest() {
        scriptedLogger = &m_Logger;
        accessorCalls = 0;
    }
    ~LogFrontTest() override {
        uvqlog::ForbidLogging(false);
        scriptedLogger = nullptr;
    }

    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const auto& record : m_Logger.kept) {
            texts.push_back(record->GetText());
        }
        return texts;
    }

    ScriptedLogger m_Logger;
};

// ---- the accessors

TEST_F(LogFrontTest, EachAccessorGivesItsOwnLoggerAndAlwaysTheSame) {
    EXPECT_EQ(uvq_log_logger__codrelay()->GetName(), "codrelay");
    EXPECT_EQ(uvq_log_logger__ffmpeg()->GetName(), "ffmpeg");
    EXPECT_EQ(uvq_log_logger__codrelay(), uvq_log_logger__codrelay());
    EXPECT_EQ(uvq_log_logger__ffmpeg(), uvq_log_logger__ffmpeg());
}

/// For a program in which nobody has logged yet.
bool EightThreadsThatLogFirstAgree() {
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::vector<std::thread> threads;
    std::vector<std::pair<Logger*, Logger*>> loggers(8);
    for (auto& mine : loggers) {
        threads.emplace_back([started, &mine] {
            started.wait();
            mine = {uvq_log_logger__codrelay(), uvq_log_logger__ffmpeg()};
        });
    }
    start.set_value();
    for (std::thread& thread : threads) {
        thread.join();
    }
    int differing = 0;
    for (const auto& [codrelay, ffmpeg] : loggers) {
        differing += codrelay != uvq_log_logger__codrelay() || ffmpeg != uvq_log_logger__ffmpeg() ? 1 : 0;
    }
    return differing == 0 && uvq_log_logger__codrelay() != uvq_log_logger__ffmpeg();
}

TEST_F(LogFrontTest, ThreadsThatLogFirstAtTheSameMomentGetTheSameLogger) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // the child starts the program anew
    EXPECT_EXIT(std::exit(EightThreadsThatLogFirstAgree() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST_F(LogFrontTest, ALineWrittenWhileTheProcessEndsStillArrives) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atexit([] { FFMPEG_LOG(Error) << "the last words"; });  // runs after all that is registered later
            FFMPEG_LOG(Error) << "the loggers are made here";
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "the last words");
}

TEST_F(LogFrontTest, BothLoggersWriteWarningsOutOfTheBox) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            CODRELAY_LOG(Warning) << "from the one";
            FFMPEG_LOG(Warning) << "from the other";
            std::_Exit(0);
        },
        ::testing::ExitedWithCode(0), "codrelay. .warning. from the one\n.*ffmpeg. .warning. from the other");
}

// ---- opening a line

TEST_F(LogFrontTest, AnOpenLineHasItsLoggerAndAnEmptyRecordOfTheSeverity) {
    LogLine line;
    OpenLogLine(&line, Severity::Warning, 1, ScriptedAccessor);
    EXPECT_EQ(line.logger, &m_Logger);
    ASSERT_NE(line.record, nullptr);
    EXPECT_EQ(line.record->GetSeverity(), Severity::Warning);
    EXPECT_EQ(line.record->GetText(), "");
    EXPECT_EQ(m_Logger.asked, Severity::Warning);
    EXPECT_EQ(accessorCalls, 1);
}

TEST_F(LogFrontTest, AnOpenLineCostsTheRecordAndItsControlBlock) {
    LogLine line;
    allocations = 0;
    OpenLogLine(&line, Severity::Error, 1, ScriptedAccessor);
    EXPECT_EQ(allocations, 2);
}

/// A line that was left filled, to see that opening clears it.
LogLine UsedLine(Logger* logger) {
    LogLine line;
    line.logger = logger;
    line.record = std::make_shared<LogRecord>(Severity::Critical);
    return line;
}

TEST_F(LogFrontTest, WhereLoggingIsForbiddenTheAccessorIsNotCalledAndNoRecordIsMade) {
    uvqlog::ForbidLogging(true);
    LogLine line = UsedLine(&m_Logger);
    allocations = 0;
    OpenLogLine(&line, Severity::Critical, 1, ScriptedAccessor);
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(accessorCalls, 0);
    EXPECT_EQ(line.logger, nullptr);
    EXPECT_EQ(line.record, nullptr);
}

TEST_F(LogFrontTest, WhereTheLineIsNotEnabledTheAccessorIsNotCalled) {
    LogLine line = UsedLine(&m_Logger);
    OpenLogLine(&line, Severity::Critical, 0, ScriptedAccessor);
    EXPECT_EQ(accessorCalls, 0);
    EXPECT_EQ(line.logger, nullptr);
    EXPECT_EQ(line.record, nullptr);
}

TEST_F(LogFrontTest, ASeverityThatTheLoggerRefusesMakesNoRecord) {
    m_Logger.enabled = false;
    LogLine line = UsedLine(&m_Logger);
    allocations = 0;
    OpenLogLine(&line, Severity::Critical, 1, ScriptedAccessor);
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(accessorCalls, 1);
    EXPECT_EQ(line.logger, nullptr);
    EXPECT_EQ(line.record, nullptr);
}

TEST_F(LogFrontTest, WritingALineClosesIt) {
    LogLine line;
    OpenLogLine(&line, Severity::Error, 1, ScriptedAccessor);
    WriteLogLine(&line);
    EXPECT_EQ(line.logger, nullptr);
    EXPECT_THAT(Texts(), ElementsAre(""));
}

// ---- the macros

TEST_F(LogFrontTest, EachMacroWritesOnItsLoggerAtEachSeverity) {
    LogCapture log;
    CODRELAY_LOG(Trace) << "one";
    CODRELAY_LOG(Info) << "two";
    CODRELAY_LOG(Warning) << "three";
    CODRELAY_LOG(Error) << "four";
    CODRELAY_LOG(Critical) << "five";
    FFMPEG_LOG(Trace) << "six";
    FFMPEG_LOG(Critical) << "seven";
    EXPECT_THAT(log.Take(), ElementsAre(Codrelay(Severity::Trace, "one"), Codrelay(Severity::Info, "two"),
                                        Codrelay(Severity::Warning, "three"), Codrelay(Severity::Error, "four"),
                                        Codrelay(Severity::Critical, "five"), Ffmpeg(Severity::Trace, "six"),
                                        Ffmpeg(Severity::Critical, "seven")));
}

TEST_F(LogFrontTest, NumbersGoInAsDecimalsByTheirType) {
    LogCapture log;
    FFMPEG_LOG(Error) << "values " << -1 << ' ' << 4294967295U << ' ' << -9223372036854775807LL << ' ' << true;
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "values -1 4294967295 -9223372036854775807 1")));
}

TEST_F(LogFrontTest, TextOrNothingTakesANullText) {
    LogCapture log;
    FFMPEG_LOG(Error) << "name: " << TextOrNothing(nullptr) << TextOrNothing("h264") << "!";
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "name: h264!")));
}

TEST_F(LogFrontTest, AnOffLineEvaluatesAndAllocatesNothing) {
    int evaluations = 0;
    const auto evaluate = [&evaluations] {
        ++evaluations;
        return std::string(100, 'x');
    };
    const auto logEverything = [&] {
        CODRELAY_LOG(Trace) << "text" << evaluate();
        FFMPEG_LOG(Error) << evaluate() << 5;
    };
    uvq_log_logger__codrelay();
    uvq_log_logger__ffmpeg();

    SetThreshold(Severity::Critical);
    allocations = 0;
    logEverything();
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(evaluations, 0);

    SetThreshold(Severity::Trace);
    uvqlog::ForbidLogging(true);
    allocations = 0;
    logEverything();
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(evaluations, 0);

    uvqlog::ForbidLogging(false);
    LogCapture log;
    logEverything();
    EXPECT_EQ(evaluations, 2) << "what is written is evaluated exactly once";
}

TEST_F(LogFrontTest, ALineThatIsWrittenAllocatesNothingOfItsOwn) {
    allocations = 0;
    SCRIPTED_LOG(Error) << "fps: " << 25 << '/' << 1U;  // short enough to stay inside the record
    EXPECT_EQ(allocations, 2) << "the record and its control block";
    EXPECT_THAT(Texts(), ElementsAre("fps: 25/1"));
}

TEST_F(LogFrontTest, AMessageOfManyPiecesArrivesWholeAndInOrder) {
    SCRIPTED_LOG(Error) << "0123456789abcdef";
    SCRIPTED_LOG(Error) << "0123456789abcdefg";
    SCRIPTED_LOG(Error) << std::string(1000, 'x');
    SCRIPTED_LOG(Error) << 1 << ',' << 22 << ',' << 333 << ',' << 4444 << ',' << 55555 << ',' << 666666 << ','
                        << 7777777;
    SCRIPTED_LOG(Error) << 'a' << "bc" << 'd' << "ef" << 0 << "g" << 'h';
    EXPECT_THAT(Texts(), ElementsAre("0123456789abcdef", "0123456789abcdefg", std::string(1000, 'x'),
                                     "1,22,333,4444,55555,666666,7777777", "abcdef0gh"));
}

TEST_F(LogFrontTest, ALineOfSingleCharactersIsCompleteWhateverItsLength) {
    std::string expected;
    for (int length = 1; length <= 50; ++length) {
        expected.push_back(static_cast<char>('!' + length));
        LogLine line;
        OpenLogLine(&line, Severity::Error, 1, ScriptedAccessor);
        {
            LogText text(line);
            for (char c : expected) {
                text.Stream().put(c);
            }
        }
        EXPECT_EQ(line.record->GetText(), expected);
    }
}

TEST_F(LogFrontTest, ALineWhoseLastPieceIsASingleCharacterIsCompleteWhenItIsWritten) {
    SCRIPTED_LOG(Error) << "a text" << '!';
    SCRIPTED_LOG(Error) << '0' << '1' << '2' << '3' << '4' << '5' << '6' << '7' << '8' << '9' << 'a' << 'b' << 'c'
                        << 'd' << 'e' << 'f' << '!';
    EXPECT_THAT(Texts(), ElementsAre("a text!", "0123456789abcdef!"));
}

TEST_F(LogFrontTest, TheRecordBelongsToTheLoggerAfterTheLine) {
    SCRIPTED_LOG(Info) << "kept";
    ASSERT_EQ(m_Logger.kept.size(), 1U);
    EXPECT_EQ(m_Logger.kept[0].use_count(), 1);
    EXPECT_EQ(m_Logger.kept[0]->GetSeverity(), Severity::Info);
}

std::string Fail() {
    throw std::runtime_error("no text today");
}

TEST_F(LogFrontTest, AnExceptionWhileALineIsFormedWritesNothingReleasesAllAndPassesOn) {
    const int liveBefore = liveAllocations;
    const auto logAndFail = [] { SCRIPTED_LOG(Error) << "a text that is long enough to be on the heap" << Fail(); };
    EXPECT_THROW(logAndFail(), std::runtime_error);
    EXPECT_THAT(Texts(), IsEmpty());
    EXPECT_EQ(liveAllocations, liveBefore);
}

/// Writes a line with its first allocation refused, then its second and so on, until it goes through. Returns how many
/// were refused.
template <typename Write>
int RefuseEachAllocation(const std::vector<std::shared_ptr<LogRecord>>& written, const Write& write) {
    for (int nth = 1;; ++nth) {
        const int liveBefore = liveAllocations;
        bool refused = false;
        untilFailure = nth;
        try {
            write();
        } catch (const std::bad_alloc&) {
            refused = true;
        }
        const bool due = untilFailure == 0;
        untilFailure = 0;
        EXPECT_EQ(refused, due) << "allocation " << nth;
        if (!due) {
            return nth - 1;
        }
        EXPECT_THAT(written, IsEmpty()) << "allocation " << nth;
        EXPECT_EQ(liveAllocations, liveBefore) << "allocation " << nth;
    }
}

TEST_F(LogFrontTest, ALineThatRunsOutOfMemoryIsNotWrittenAndTheExceptionPassesOn) {
    const std::string longText(100, 'x');
    EXPECT_GE(RefuseEachAllocation(m_Logger.kept,
                                   [&] {
                                       SCRIPTED_LOG(Critical) << "Can't find video decoder "
                                                              << "unknown" << 5 << ' ' << longText;
                                   }),
              4);
    EXPECT_THAT(Texts(), ElementsAre("Can't find video decoder unknown5 " + longText));
}

TEST_F(LogFrontTest, ALineWhoseLastCharacterFindsNoMemoryIsNotWrittenEither) {
    // Fifteen characters lie in the record itself.
    EXPECT_EQ(RefuseEachAllocation(m_Logger.kept, [] { SCRIPTED_LOG(Critical) << "0123456789abcde" << '!'; }), 3);
    EXPECT_THAT(Texts(), ElementsAre("0123456789abcde!"));
}

const char* FailAndTakeTheMemory() {
    untilFailure = 1;
    throw 5;
}

TEST_F(LogFrontTest, AnExceptionPassesOnWhereThereIsNoMemoryForWhatIsPending) {
    EXPECT_THROW({ SCRIPTED_LOG(Error) << "0123456789abcde" << '!' << FailAndTakeTheMemory(); }, int);
    EXPECT_EQ(std::exchange(untilFailure, 0), 0) << "nothing was pending";
    EXPECT_THAT(Texts(), IsEmpty());
}

TEST_F(LogFrontTest, NumbersAreTheSameInAnyLocaleOfTheHost) {
    const HostLocale host;
    SCRIPTED_LOG(Error) << short{-1234} << ' ' << static_cast<unsigned short>(65535) << ' ' << 1920 << ' '
                        << 4294967295U << ' ' << -1234567L << ' ' << 1234567UL << ' ' << -9223372036854775807LL << ' '
                        << 18446744073709551615ULL;
    SCRIPTED_LOG(Error) << 1234.5 << ' ' << 1234.25F << ' ' << 1234.125L << ' ' << true << ' ' << std::hex << 0x12ab
                        << ' ' << reinterpret_cast<void*>(0x12ab) << ' ' << std::boolalpha << true;
    EXPECT_THAT(Texts(), ElementsAre("-1234 65535 1920 4294967295 -1234567 1234567 -9223372036854775807 "
                                     "18446744073709551615",
                                     "1234.5 1234.25 1234.12 1 12ab 0x12ab true"));
}

TEST_F(LogFrontTest, ALineIsOneStatement) {
    bool otherwise = false;
    if (m_Logger.enabled)
        SCRIPTED_LOG(Error) << "then";
    else
        otherwise = true;
    EXPECT_FALSE(otherwise);
    EXPECT_THAT(Texts(), ElementsAre("then"));
}

TEST_F(LogFrontTest, SeveralThreadsMayLogAtOnce) {
    LogCapture log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int line = 0; line < 500; ++line) {
                FFMPEG_LOG(Error) << "thread " << i << " says something of more than sixteen characters" << '.';
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::vector<int> counts(4);
    for (const LoggedLine& line : log.Take()) {
        for (int i = 0; i < 4; ++i) {
            counts[static_cast<std::size_t>(i)] +=
                line.text == "thread " + std::to_string(i) + " says something of more than sixteen characters.";
        }
    }
    EXPECT_THAT(counts, ElementsAre(500, 500, 500, 500));
}

// ---- the buffer, against a record that notes each piece

struct Pieces {
    std::vector<std::string> pieces;
    void WriteData(const char* data, int length) { pieces.emplace_back(data, static_cast<std::size_t>(length)); }
};

class OpenBuffer : public uvqlog::details::basic_ostringstreambuf<char, Pieces> {
public:
    using basic_ostringstreambuf::basic_ostringstreambuf;
    using basic_ostringstreambuf::overflow;
};

class BufferTest : public ::testing::Test {
protected:
    Pieces m_Record;
    OpenBuffer m_Buffer{&m_Record};
};

TEST_F(BufferTest, GathersSixteenCharactersAndWritesTheNextOneBehindThem) {
    for (char c : std::string("0123456789abcdef")) {
        m_Buffer.sputc(c);
    }
    EXPECT_THAT(m_Record.pieces, IsEmpty());
    EXPECT_EQ(m_Buffer.sputc('g'), 'g');
    EXPECT_THAT(m_Record.pieces, ElementsAre("0123456789abcdef", "g"));
    m_Buffer.sputc('h');
    m_Buffer.pubsync();
    EXPECT_THAT(m_Record.pieces, ElementsAre("0123456789abcdef", "g", "h"));
}

TEST_F(BufferTest, WritesATextStraightBehindWhatIsPending) {
    m_Buffer.sputc('a');
    EXPECT_EQ(m_Buffer.sputn("bcd", 3), 3);
    EXPECT_THAT(m_Record.pieces, ElementsAre("a", "bcd"));
    EXPECT_EQ(m_Buffer.sputn("efg", 2), 2);
    EXPECT_THAT(m_Record.pieces, ElementsAre("a", "bcd", "ef"));
}

TEST_F(BufferTest, SyncWritesWhatIsPendingOnce) {
    EXPECT_EQ(m_Buffer.pubsync(), 0);
    EXPECT_THAT(m_Record.pieces, IsEmpty());
    m_Buffer.sputc('a');
    m_Buffer.sputc('b');
    EXPECT_EQ(m_Buffer.pubsync(), 0);
    EXPECT_EQ(m_Buffer.pubsync(), 0);
    EXPECT_THAT(m_Record.pieces, ElementsAre("ab"));
}

TEST_F(BufferTest, OverflowAtTheEndOfFileFlushesAndWritesNoCharacter) {
    m_Buffer.sputc('a');
    EXPECT_EQ(m_Buffer.overflow(std::char_traits<char>::eof()), 0);
    EXPECT_THAT(m_Record.pieces, ElementsAre("a"));
    EXPECT_EQ(m_Buffer.overflow(std::char_traits<char>::eof()), 0);
    EXPECT_THAT(m_Record.pieces, ElementsAre("a"));
}

TEST_F(BufferTest, OverflowWithACharacterFlushesAndWritesIt) {
    m_Buffer.sputc('a');
    EXPECT_EQ(m_Buffer.overflow('b'), 'b');
    EXPECT_THAT(m_Record.pieces, ElementsAre("a", "b"));
}

TEST_F(BufferTest, TheHighestCharacterIsNotTakenForTheEndOfFile) {
    EXPECT_EQ(m_Buffer.overflow(std::char_traits<char>::to_int_type('\xff')), 255);
    EXPECT_THAT(m_Record.pieces, ElementsAre("\xff"));
}

}  // namespace
