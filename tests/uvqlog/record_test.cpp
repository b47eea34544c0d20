#include <gtest/gtest.h>

#include <chrono>
#include <new>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "common/host_locale.h"
#include "uvqlog/uvqlog.h"

namespace {

using uvqlog::LogRecord;
using uvqlog::LogStream;
using uvqlog::Severity;

TEST(SeverityTest, ValuesAreSingleBitsThatNeverChange) {
    EXPECT_EQ(static_cast<int>(Severity::Trace), 1);
    EXPECT_EQ(static_cast<int>(Severity::Info), 2);
    EXPECT_EQ(static_cast<int>(Severity::Warning), 4);
    EXPECT_EQ(static_cast<int>(Severity::Error), 8);
    EXPECT_EQ(static_cast<int>(Severity::Critical), 16);
}

TEST(LogRecordTest, StartsEmptyWithItsSeverityAndTheTimeOfItsMaking) {
    const auto before = std::chrono::system_clock::now();
    LogRecord record(Severity::Error);
    const auto after = std::chrono::system_clock::now();
    EXPECT_EQ(record.GetSeverity(), Severity::Error);
    EXPECT_EQ(record.GetText(), "");
    EXPECT_GE(record.GetTime(), before);
    EXPECT_LE(record.GetTime(), after);
}

TEST(LogRecordTest, AppendsExactlyTheBytesGiven) {
    LogRecord record(Severity::Info);
    record.WriteData("one, two", 3);
    record.WriteData("\0", 1);
    record.WriteData("two", 3);
    EXPECT_EQ(record.GetText(), std::string("one\0two", 7));
}

TEST(LogRecordTest, AppendsNothingWhereTheLengthIsNotPositive) {
    LogRecord record(Severity::Info);
    record.WriteData("text", 0);
    record.WriteData("text", -1);
    record.WriteData(nullptr, 0);
    EXPECT_EQ(record.GetText(), "");
}

TEST(LogRecordTest, HoldsALongText) {
    LogRecord record(Severity::Info);
    const std::string piece(1000, 'x');
    for (int i = 0; i < 1000; ++i) {
        record.WriteData(piece.data(), static_cast<int>(piece.size()));
    }
    EXPECT_EQ(record.GetText(), std::string(1000000, 'x'));
}

class CountingBuffer : public std::stringbuf {
public:
    int syncs = 0;

protected:
    int sync() override {
        ++syncs;
        return 0;
    }
};

TEST(LogStreamTest, IsAnOrdinaryStreamOverItsBuffer) {
    std::stringbuf buffer;
    {
        LogStream stream(&buffer);
        std::ostream& base = stream;
        base << "fps: " << -5 << ' ' << 7U << ' ' << 1.5;
    }
    EXPECT_EQ(buffer.str(), "fps: -5 7 1.5");
}

TEST(LogStreamTest, SyncsItsBufferOnceAndOnlyWhenItEnds) {
    CountingBuffer buffer;
    {
        LogStream stream(&buffer);
        stream << "text" << 5;
        EXPECT_EQ(buffer.syncs, 0);
    }
    EXPECT_EQ(buffer.syncs, 1);
}

TEST(LogStreamTest, SyncsItsBufferEvenAfterAnInsertionThatFailed) {
    CountingBuffer buffer;
    {
        LogStream stream(&buffer);
        stream << "before";
        stream.setstate(std::ios_base::failbit);
    }
    EXPECT_EQ(buffer.syncs, 1);
}

TEST(LogStreamTest, WritesNumbersTheSameInAnyLocaleOfTheHost) {
    const HostLocale host;
    std::stringbuf buffer;
    {
        LogStream stream(&buffer);
        stream << 1920 << ' ' << -1234567890123LL << ' ' << 1234.5;
    }
    EXPECT_EQ(buffer.str(), "1920 -1234567890123 1234.5");
}

class FullBuffer : public std::stringbuf {
protected:
    std::streamsize xsputn(const char*, std::streamsize) override { throw std::bad_alloc(); }
    int_type overflow(int_type) override { throw std::runtime_error("no room"); }
};

TEST(LogStreamTest, LetsPassWhatItsBufferThrows) {
    FullBuffer buffer;
    LogStream stream(&buffer);
    EXPECT_THROW(stream << "text", std::bad_alloc);
    stream.clear();
    EXPECT_THROW(stream << 5, std::bad_alloc);
    stream.clear();
    EXPECT_THROW(stream.put('c'), std::runtime_error);
}

class ThrowingBuffer : public std::stringbuf {
protected:
    int sync() override { throw std::runtime_error("no room"); }
};

TEST(LogStreamTest, EndsInPeaceWhenItsBufferThrows) {
    ThrowingBuffer buffer;
    {
        LogStream stream(&buffer);
        stream << "text";
    }
    EXPECT_EQ(buffer.str(), "text");
}

}  // namespace
