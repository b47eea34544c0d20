#include "uvqlog/uvqlog.h"

#include <atomic>
#include <locale>

#include "uvqlog/control.h"
#include "uvqlog/sink_switch.h"
#include "uvqlog/thresholds.h"

namespace uvqlog {

namespace {

std::atomic<bool> loggingForbidden{false};

}  // namespace

bool IsLoggingForbidden() {
    return loggingForbidden.load(std::memory_order_relaxed);
}

void ForbidLogging(bool forbidden) {
    loggingForbidden = forbidden;
}

LogRecord::LogRecord(Severity severity) : m_Severity(severity), m_Time(std::chrono::system_clock::now()) {}

LogRecord::~LogRecord() = default;

void LogRecord::WriteData(const char* data, int length) {
    if (length > 0) {
        m_Text.append(data, static_cast<std::size_t>(length));
    }
}

Severity LogRecord::GetSeverity() const {
    return m_Severity;
}

std::chrono::system_clock::time_point LogRecord::GetTime() const {
    return m_Time;
}

const std::string& LogRecord::GetText() const {
    return m_Text;
}

Logger::Logger(const char* name, bool flag) : m_pState(Thresholds::Instance().Enter(name, flag)) {}

Logger::~Logger() = default;

bool Logger::IsEnabled(Severity severity) {
    return static_cast<int>(severity) >= m_pState->lowest.load(std::memory_order_relaxed);
}

void Logger::Write(const std::shared_ptr<LogRecord>& record) {
    SinkSwitch::Instance().Pass({GetName(), record->GetSeverity(), record->GetTime(), record->GetText()});
}

const std::string& Logger::GetName() const {
    return m_pState->name;
}

// What the buffer throws is for whoever writes, and numbers are the same whatever global locale the host has set.
LogStream::LogStream(std::streambuf* buffer) : std::ostream(buffer) {
    if (getloc() != std::locale::classic()) {  // costs less than imbue, and is the rule
        imbue(std::locale::classic());
    }
    exceptions(std::ios_base::badbit);
}

// Straight to the buffer: flush() would do nothing after a failed insertion, and what came before it would be lost.
LogStream::~LogStream() {
    try {
        rdbuf()->pubsync();
    } catch (...) {
        // No memory for the last bytes; a destructor has nobody to tell.
    }
}

}  // namespace uvqlog
