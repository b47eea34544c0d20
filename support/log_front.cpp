#include "support/log_front.h"

#include <mutex>

namespace {

// The once-flag stands before the static's own guard, so that two threads that log first at the same moment agree.
uvqlog::Logger* CodrelayLogger() {
    static uvqlog::Logger logger("codrelay", true);
    return &logger;
}

uvqlog::Logger* FfmpegLogger() {
    static uvqlog::Logger logger("ffmpeg", true);
    return &logger;
}

}  // namespace

uvqlog::Logger* uvq_log_logger__codrelay() {
    static std::once_flag once;
    std::call_once(once, [] { CodrelayLogger(); });
    return CodrelayLogger();
}

uvqlog::Logger* uvq_log_logger__ffmpeg() {
    static std::once_flag once;
    std::call_once(once, [] { FfmpegLogger(); });
    return FfmpegLogger();
}

void OpenLogLine(LogLine* line, uvqlog::Severity severity, int enabled, uvqlog::Logger* (*accessor)()) {
    *line = LogLine();
    if (enabled == 0 || uvqlog::IsLoggingForbidden()) {
        return;
    }
    uvqlog::Logger* logger = accessor();
    if (!logger->IsEnabled(severity)) {
        return;
    }
    line->record.reset(new uvqlog::LogRecord(severity));
    line->logger = logger;
}

void WriteLogLine(LogLine* line) {
    line->logger->Write(line->record);
    line->logger = nullptr;
}
