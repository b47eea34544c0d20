#include "common/log_capture.h"

#include <utility>

void PrintTo(const LoggedLine& line, std::ostream* out) {
    *out << line.logger << " " << static_cast<int>(line.severity) << " \"" << line.text << "\"";
}

LogCapture::LogCapture(uvqlog::Severity lowest) {
    uvqlog::SetThreshold(lowest);
    uvqlog::SetSink([this](const uvqlog::LogEvent& event) {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Lines.push_back({std::string(event.logger), event.severity, std::string(event.text)});
    });
}

LogCapture::~LogCapture() {
    uvqlog::SetSink(nullptr);
    uvqlog::SetThreshold(uvqlog::Severity::Warning);
}

std::vector<LoggedLine> LogCapture::Take() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return std::exchange(m_Lines, {});
}
