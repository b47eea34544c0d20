#pragma once

#include <cstddef>
#include <functional>
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

    /// Writes one line; never throws. A file that cannot be written any more is given up for stderr; one that there was
    /// no memory for is not.
    void Write(const LogEvent& event) noexcept;
    void ToRotatingFile(const std::string& name, std::size_t maxBytes, std::size_t maxFiles);

private:
    using Target = std::shared_ptr<spdlog::sinks::sink>;

    /// False where the line belongs on stderr.
    bool TryFile(const LogEvent& event);
    bool TryToReopen();

    std::mutex m_Mutex;  // guards all below, and is held while a line is written
    Target m_pStderr;
    std::function<Target()> m_OpenFile;  // empty: the lines go to stderr
    Target m_pFile;                      // null: to be opened anew
};

}  // namespace uvqlog
