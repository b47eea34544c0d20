#pragma once

/// @file
/// Loggers and records.

#include <chrono>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

/// Marks what the shared library offers to a host.
#define UVQLOG_API __attribute__((visibility("default")))

/// A small stand-alone logging library: named loggers, records, severities. A program that only wants to steer where
/// records go includes "uvqlog/control.h".
namespace uvqlog {

/// How much a record matters. Single bits, in rising order; the values are fixed.
enum class Severity : int {
    Trace = 1,
    Info = 2,
    Warning = 4,
    Error = 8,
    Critical = 16,
};

/// True while no line may be formed at all, whatever the logger (see ForbidLogging). Safe from any thread.
UVQLOG_API bool IsLoggingForbidden();

/// One message on its way. Filled by one thread, then handed to Logger::Write; not to be changed after that.
class UVQLOG_API LogRecord {
public:
    /// An empty record of that severity, stamped with the time of its making.
    explicit LogRecord(Severity severity);
    ~LogRecord();

    LogRecord(const LogRecord&) = delete;
    LogRecord& operator=(const LogRecord&) = delete;

    /// Appends `length` bytes from `data`, which is borrowed for the call. Nothing is appended where `length` is not
    /// positive.
    void WriteData(const char* data, int length);

    /// As given at its making.
    Severity GetSeverity() const;
    /// When it was made.
    std::chrono::system_clock::time_point GetTime() const;
    /// The text so far; the reference is good until the next WriteData and no longer than the record.
    const std::string& GetText() const;

private:
    Severity m_Severity;
    std::chrono::system_clock::time_point m_Time;
    std::string m_Text;
};

struct LoggerState;

/// A named source of records. Loggers of one name share one threshold. All operations are safe from several threads.
class UVQLOG_API Logger {
public:
    /// `name` is copied. Until a SetThreshold covers this name, a logger made with `flag` true writes Severity::Warning
    /// and above, one made with false writes nothing; where several share a name, the first one's flag counts.
    /// REQUIRES: `name` is not null.
    Logger(const char* name, bool flag);
    virtual ~Logger();

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// True when a record of that severity is to be written by this logger.
    virtual bool IsEnabled(Severity severity);

    /// Takes a finished record to the sink (see SetSink), whatever the threshold. Does not keep the pointer; a derived
    /// logger may.
    /// REQUIRES: `record` is not null.
    virtual void Write(const std::shared_ptr<LogRecord>& record);

    /// The name given at its making; the reference is good until this library is unloaded.
    const std::string& GetName() const;

private:
    LoggerState* m_pState;  // not owned; lives until this library is unloaded
};

/// A std::ostream over a buffer that it does not own, in the classic locale, whatever the global one is: numbers stay
/// as they are. An exception of the buffer's passes on to whoever inserts, and a null `const char*` or a buffer that
/// takes less than it is given is one too, std::ios_base::failure. On destruction it makes the buffer sync, so
/// that no byte is left pending; what the buffer throws then is lost, so whoever wants to know flushes before.
/// REQUIRES: the buffer is not null and outlives the stream.
class UVQLOG_API LogStream : public std::ostream {
public:
    /// A stream that writes into `buffer`.
    explicit LogStream(std::streambuf* buffer);
    ~LogStream() override;
};

}  // namespace uvqlog
