#pragma once

/// @file
/// What a host steers of the log.

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "uvqlog/uvqlog.h"

/// What a host steers: where records go and which of them are written. Out of the box records of Severity::Warning
/// and above go to stderr, one line each with time, logger and severity, and nothing below that. All functions are
/// safe from any thread.
namespace uvqlog {

/// One record as a sink sees it. The views live for the call only.
struct LogEvent {
    /// Name of the logger.
    std::string_view logger;
    /// How much it matters.
    Severity severity;
    /// When the record was made.
    std::chrono::system_clock::time_point time;
    /// The whole line, without a line end.
    std::string_view text;
};

/// Sends every record of every logger to `sink` instead of to the default; an empty function restores the default.
/// When the call returns, the former sink is no longer running and will not be called again, unless the call comes
/// from inside a sink, which does not wait. A record logged from inside a sink goes to the default. What a sink throws
/// is dropped. The sink may run on several threads at once. It is let go when another one is set or the library is
/// unloaded, and not at process exit: it is called to the last.
/// REQUIRES: a sink does not wait for a thread that is inside SetSink.
UVQLOG_API void SetSink(std::function<void(const LogEvent&)> sink);

/// The lowest severity that is written, for all loggers. Forgets every threshold that was set by name.
UVQLOG_API void SetThreshold(Severity lowest);

/// The same for the loggers of that name, those not yet made included. The later call wins.
UVQLOG_API void SetThreshold(std::string_view logger, Severity lowest);

/// What IsLoggingForbidden() answers from now on.
UVQLOG_API void ForbidLogging(bool forbidden);

/// Makes the default write to `path` instead of to stderr; folders that are missing are made. A file that would grow
/// beyond `maxBytes` is renamed, "log.txt" to "log.1.txt", that to "log.2.txt" and so on, and at most `maxFiles` such
/// files are kept beside the current one. Every record is in the file when the call that logged it returns. If the file
/// cannot be written later on, the default is stderr again. A record that finds no memory goes to stderr if it can, and
/// the next one to the file again.
/// Throws std::runtime_error where the file cannot be opened, `maxBytes` is 0 or `maxFiles` is above 200000; the
/// default is then as it was.
UVQLOG_API void LogToRotatingFile(const std::string& path, std::size_t maxBytes, std::size_t maxFiles);

}  // namespace uvqlog
