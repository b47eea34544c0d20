#include "uvqlog/default_output.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string_view>

#include "uvqlog/until_unload.h"

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

template <typename Sink, typename... Args>
std::shared_ptr<spdlog::sinks::sink> MakeTarget(Args&&... args) {
    auto target = std::make_shared<Sink>(std::forward<Args>(args)...);
    target->set_pattern(kPattern);
    return target;
}

}  // namespace

DefaultOutput& DefaultOutput::Instance() {
    static auto* const instance = UntilUnload(new DefaultOutput);
    return *instance;
}

DefaultOutput::DefaultOutput() : m_pStderr(MakeTarget<spdlog::sinks::stderr_sink_st>()) {}

void DefaultOutput::Write(const LogEvent& event) noexcept {
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (TryFile(event)) {
        return;
    }
    try {
        WriteTo(*m_pStderr, event);
    } catch (const std::exception&) {
        // There is nowhere else to go.
    }
}

// Where memory runs out the file is opened anew and tried once more, now or with the next line: spdlog may have closed
// it to rename it, and must not write it then. Any other failure is the file's own.
bool DefaultOutput::TryFile(const LogEvent& event) {
    for (int tries = 0; tries < 2 && m_OpenFile; ++tries) {
        if (m_pFile == nullptr && !TryToReopen()) {
            return false;
        }
        try {
            WriteTo(*m_pFile, event);
            return true;
        } catch (const std::bad_alloc&) {
            m_pFile = nullptr;
        } catch (const std::exception&) {
            m_pFile = nullptr;
            m_OpenFile = nullptr;
        }
    }
    return false;
}

// A file for which there is no memory may look like one that cannot be opened.
bool DefaultOutput::TryToReopen() {
    try {
        m_pFile = m_OpenFile();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void DefaultOutput::ToRotatingFile(const std::string& name, std::size_t maxBytes, std::size_t maxFiles) {
    // The same file when it is opened anew, wherever the process has gone meanwhile.
    const std::string path = name.empty() ? name : std::filesystem::absolute(name).string();
    std::function<Target()> openFile = [path, maxBytes, maxFiles] {
        return MakeTarget<spdlog::sinks::rotating_file_sink_st>(path, maxBytes, maxFiles);
    };
    Target file;
    try {
        file = openFile();
    } catch (const spdlog::spdlog_ex& error) {
        throw std::runtime_error(error.what());
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_OpenFile.swap(openFile);
    m_pFile.swap(file);
}

void LogToRotatingFile(const std::string& path, std::size_t maxBytes, std::size_t maxFiles) {
    DefaultOutput::Instance().ToRotatingFile(path, maxBytes, maxFiles);
}

}  // namespace uvqlog
