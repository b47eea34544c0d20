#include "support/log_front.h"

// A function-local static is made once however many threads log first at the same moment, and an off line pays no more
// than its guard.
uvqlog::Logger* uvq_log_logger__codrelay() {
    static uvqlog::Logger logger("codrelay", true);
    return &logger;
}

uvqlog::Logger* uvq_log_logger__ffmpeg() {
    static uvqlog::Logger logger("ffmpeg", true);
    return &logger;
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
