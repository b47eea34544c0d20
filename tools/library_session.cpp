#include "library_session.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <thread>
#include <utility>

#include "codrelay/library.h"

namespace {

struct LogLevel {
    const char* name;
    uvqlog::Severity severity;
    const char* ffmpegLevel;
};

constexpr std::array<LogLevel, 5> kLogLevels = {{
    {"trace", uvqlog::Severity::Trace, "trace"},
    {"info", uvqlog::Severity::Info, "info"},
    {"warning", uvqlog::Severity::Warning, "warning"},
    {"error", uvqlog::Severity::Error, "error"},
    {"critical", uvqlog::Severity::Critical, "fatal"},
}};

const char* SeverityName(uvqlog::Severity severity) {
    const auto level = std::find_if(kLogLevels.begin(), kLogLevels.end(),
                                    [severity](const LogLevel& candidate) { return candidate.severity == severity; });
    return level != kLogLevels.end() ? level->name : "unknown";
}

}  // namespace

std::vector<std::string> LibrarySession::LogLevels() {
    std::vector<std::string> names;
    std::transform(kLogLevels.begin(), kLogLevels.end(), std::back_inserter(names),
                   [](const LogLevel& level) { return level.name; });
    return names;
}

LibrarySession::LibrarySession(const std::string& logLevel) {
    const auto level = std::find_if(kLogLevels.begin(), kLogLevels.end(),
                                    [&logLevel](const LogLevel& candidate) { return candidate.name == logLevel; });
    if (level != kLogLevels.end()) {
        m_Shown = level->severity;
    }
    Codrelay_SetFfmpegLogLevel(FfmpegLevel());
    uvqlog::SetThreshold(Threshold());
    uvqlog::SetSink([this](const uvqlog::LogEvent& event) { Hear(event); });
    Codrelay_Create(nullptr);
}

LibrarySession::~LibrarySession() {
    Codrelay_Destroy();
    uvqlog::SetSink(nullptr);
    uvqlog::SetThreshold(uvqlog::Severity::Warning);
}

uvqlog::Severity LibrarySession::Threshold() const {
    return std::min(m_Shown.value_or(uvqlog::Severity::Info), uvqlog::Severity::Info);
}

const char* LibrarySession::FfmpegLevel() const {
    const auto level = std::find_if(kLogLevels.begin(), kLogLevels.end(),
                                    [this](const LogLevel& candidate) { return candidate.severity == m_Shown; });
    return level != kLogLevels.end() ? level->ffmpegLevel : "quiet";
}

void LibrarySession::ListOffers(Listener listener) {
    const ScopedListener listening(*this, std::move(listener));
    uvqlog::SetThreshold(uvqlog::Severity::Trace);
    Codrelay_Create(nullptr);
    uvqlog::SetThreshold(Threshold());
}

LibrarySession::Listener LibrarySession::ReplaceListener(Listener listener) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return std::exchange(m_Listener, std::move(listener));
}

void LibrarySession::Mute(bool muted) {
    Codrelay_SetFfmpegLogLevel(muted ? "quiet" : FfmpegLevel());
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Muted = muted;
}

void LibrarySession::Hear(const uvqlog::LogEvent& event) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Muted) {
        return;
    }
    if (m_Shown && event.severity >= *m_Shown) {
        std::cerr << SeverityName(event.severity) << " " << event.logger << ": " << event.text << "\n";
    }
    if (m_Listener) {
        m_Listener(event);
    }
}

LibrarySession::Listener OnThisThread(LibrarySession::Listener listener) {
    return [listener = std::move(listener), thread = std::this_thread::get_id()](const uvqlog::LogEvent& event) {
        if (std::this_thread::get_id() == thread) {
            listener(event);
        }
    };
}
