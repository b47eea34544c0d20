#include "uvqlog/default_output.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace uvqlog {

namespace {

constexpr char kPattern[] = "%Y-%m-%dT%H:%M:%S.%e%z [%n] [%l] %v";

spdlog::level::level_enum ToSpdlog(Severity severity) {
    if (severity >= Severity::Critical) {
        return spdlog::level::critical;
    }
    if (severity >= Severity::Error) {
        return spdlog::level::err;
    }
    if (severity >= Severity::Warning) {
        return spdlog::level::warn;
    }
    return severity >= Severity::Info ? spdlog::level::info : spdlog::level::trace;
}

// One line a record, whatever a file name or a foreign message in it holds.
std::string OnOneLine(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    return line;
}

// The sinks are used bare, without a spdlog::logger: nothing enters spdlog's registry.
void WriteTo(spdlog::sinks::sink& target, const LogEvent& event) {
    const std::string line = OnOneLine(event.text);
    target.log(spdlog::details::log_msg(event.time, spdlog::source_loc(),
                                        spdlog::string_view_t(event.logger.data(), event.logger.size()),
                                        ToSpdlog(event.severity), line));
    target.flush();
}

bool TryWriteTo(spdlog::sinks::sink& target, const LogEvent& event) {
    try {
        WriteTo(target, event);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

template <typename Sink, typename... Args>
std::shared_ptr<spdlog::sinks::sink> MakeTarget(Args&&... args) {
    auto target = std::make_shared<Sink>(std::forward<Args>(args)...);
    target->set_pattern(kPattern);
    return target;
}

}  // namespace

// Left to the end of the process on purpose: the last record may come after any destructor.
DefaultOutput& DefaultOutput::Instance() {
    static auto* const instance = new DefaultOutput;
    return *instance;
}

DefaultOutput::DefaultOutput() : m_pStderr(MakeTarget<spdlog::sinks::stderr_sink_st>()), m_pCurrent(m_pStderr) {}

void DefaultOutput::Write(const LogEvent& event) noexcept {
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (!TryWriteTo(*m_pCurrent, event)) {
        m_pCurrent = m_pStderr;  // spdlog's file may be closed by now and must not be written again
        TryWriteTo(*m_pStderr, event);
    }
}

void DefaultOutput::ToRotatingFile(const std::string& path, std::size_t maxBytes, std::size_t maxFiles) {
    Target file;
    try {
        file = MakeTarget<spdlog::sinks::rotating_file_sink_st>(path, maxBytes, maxFiles);
    } catch (const spdlog::spdlog_ex& error) {
        throw std::runtime_error(error.what());
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_pCurrent.swap(file);
}

void LogToRotatingFile(const std::string& path, std::size_t maxBytes, std::size_t maxFiles) {
    DefaultOutput::Instance().ToRotatingFile(path, maxBytes, maxFiles);
}

}  // namespace uvqlog
