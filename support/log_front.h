#pragma once

#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

#include "uvqlog/uvqlog.h"

namespace uvqlog::details {

/// Carries the characters of a stream into a record. Small pieces are gathered in the object itself, whole texts go
/// straight through, so that a line needs no allocation of its own.
template <typename Char, typename Record, typename Traits = std::char_traits<Char>>
class basic_ostringstreambuf : public std::basic_streambuf<Char, Traits> {
public:
    explicit basic_ostringstreambuf(Record* record) : m_pRecord(record) {
        this->setp(m_PutArea, m_PutArea + kPutAreaSize);
    }

protected:
    using int_type = typename Traits::int_type;

    int sync() override {
        const auto pending = static_cast<int>(this->pptr() - this->pbase());
        if (pending > 0) {
            m_pRecord->WriteData(this->pbase(), pending);
            this->setp(m_PutArea, m_PutArea + kPutAreaSize);
        }
        return 0;
    }

    std::streamsize xsputn(const Char* text, std::streamsize length) override {
        sync();
        m_pRecord->WriteData(text, static_cast<int>(length));
        return length;
    }

    int_type overflow(int_type c) override {
        sync();
        if (Traits::eq_int_type(c, Traits::eof())) {
            return 0;
        }
        const Char character = Traits::to_char_type(c);
        m_pRecord->WriteData(&character, 1);
        return c;
    }

private:
    static constexpr int kPutAreaSize = 16;

    Record* m_pRecord;
    Char m_PutArea[kPutAreaSize];
};

}  // namespace uvqlog::details

/// The logger of the entry points, the transform front and the threads.
uvqlog::Logger* uvq_log_logger__codrelay();
/// The logger of everything that deals with FFmpeg.
uvqlog::Logger* uvq_log_logger__ffmpeg();

/// One line being written. A null logger means that it is not.
struct LogLine {
    uvqlog::Logger* logger = nullptr;
    std::shared_ptr<uvqlog::LogRecord> record;
};

/// Clears `line`, and makes it ready if a line of that severity is wanted. The accessor is not called while logging is
/// forbidden or `enabled` is 0.
void OpenLogLine(LogLine* line, uvqlog::Severity severity, int enabled, uvqlog::Logger* (*accessor)());

/// Hands a filled line to its logger and closes it.
void WriteLogLine(LogLine* line);

/// The text of an open line, while it is being put together.
class LogText {
public:
    explicit LogText(const LogLine& line) : m_Buffer(line.record.get()), m_Stream(&m_Buffer) {}
    std::ostream& Stream() { return m_Stream; }

    bool IsComplete() const { return m_bComplete; }
    /// Nothing is pending afterwards. The stream's destructor sees to that, too, but cannot tell that memory ran out.
    void Complete() {
        m_Buffer.pubsync();
        m_bComplete = true;
    }

private:
    uvqlog::details::basic_ostringstreambuf<char, uvqlog::LogRecord> m_Buffer;
    uvqlog::LogStream m_Stream;  // gone first, so that it can flush into the buffer
    bool m_bComplete = false;
};

/// A text from FFmpeg that may be missing: nothing is printed for null.
inline const char* TextOrNothing(const char* text) {
    return text != nullptr ? text : "";
}

// Loops of one round or none: what is inserted is not evaluated when the severity is off, and a line is handed over
// only after its text is complete and the stream gone, not when an exception leaves it.
#define CODRELAY_LOG_LINE(severity, accessor)                                                            \
    for (LogLine logLine = MakeLogLine(uvqlog::Severity::severity, accessor); logLine.logger != nullptr; \
         WriteLogLine(&logLine))                                                                         \
        for (LogText logText(logLine); !logText.IsComplete(); logText.Complete())                        \
    logText.Stream()

/// `CODRELAY_LOG(Critical) << "text" << 5;` writes one line on the logger "codrelay".
#define CODRELAY_LOG(severity) CODRELAY_LOG_LINE(severity, uvq_log_logger__codrelay)
/// The same on the logger "ffmpeg".
#define FFMPEG_LOG(severity) CODRELAY_LOG_LINE(severity, uvq_log_logger__ffmpeg)

inline LogLine MakeLogLine(uvqlog::Severity severity, uvqlog::Logger* (*accessor)()) {
    LogLine line;
    OpenLogLine(&line, severity, 1, accessor);
    return line;
}
