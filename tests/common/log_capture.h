#pragma once

#include <gmock/gmock.h>

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "uvqlog/control.h"

/// One captured log line; compares and prints as a whole.
struct LoggedLine {
    std::string logger;
    uvqlog::Severity severity;
    std::string text;

    bool operator==(const LoggedLine& other) const {
        return logger == other.logger && severity == other.severity && text == other.text;
    }
};

void PrintTo(const LoggedLine& line, std::ostream* out);

inline LoggedLine Codrelay(uvqlog::Severity severity, std::string text) {
    return {"codrelay", severity, std::move(text)};
}
inline LoggedLine Ffmpeg(uvqlog::Severity severity, std::string text) {
    return {"ffmpeg", severity, std::move(text)};
}

/// Captures every record from Trace up while it lives; afterwards the defaults are back.
///
///     LogCapture log;
///     EXPECT_FALSE(GetMuxerFormatName(0));
///     EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "GetMuxerFormatName 0 failed!")));
class LogCapture {
public:
    explicit LogCapture(uvqlog::Severity lowest = uvqlog::Severity::Trace);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// What was logged since the last call, in order.
    std::vector<LoggedLine> Take();

private:
    std::mutex m_Mutex;
    std::vector<LoggedLine> m_Lines;
};
