#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "uvqlog/control.h"

namespace spdlog::sinks {
class sink;
}

namespace uvqlog {

/// Where records go that no sink takes: to stderr, or to files.
class DefaultOutput {
public:
    static DefaultOutput& Instance();

    DefaultOutput();

    /// Writes one line; never throws. A file that cannot be written any more is given up for stderr.
    void Write(const LogEvent& event) noexcept;
    void ToRotatingFile(const std::string& path, std::size_t maxBytes, std::size_t maxFiles);

private:
    using Target = std::shared_ptr<spdlog::sinks::sink>;

    std::mutex m_Mutex;  // guards all below, and is held while a line is written
    Target m_pStderr;
    Target m_pCurrent;
};

}  // namespace uvqlog
