#include "support/log_front.h"

#include <new>

namespace {

// Room for a logger that no destructor ends: a host's own statics may hold media objects, and what those log while they
// are torn down must find a living logger. It goes with the library, and leaves nothing behind, since a logger owns
// nothing.
struct LoggerRoom {
    alignas(uvqlog::Logger) unsigned char bytes[sizeof(uvqlog::Logger)];
};

}  // namespace

// Made once, however many threads log first at the same moment.
uvqlog::Logger* uvq_log_logger__codrelay() {
    static LoggerRoom room;
    static auto* const logger = new (room.bytes) uvqlog::Logger("codrelay", true);
    return logger;
}

uvqlog::Logger* uvq_log_logger__ffmpeg() {
    static LoggerRoom room;
    static auto* const logger = new (room.bytes) uvqlog::Logger("ffmpeg", true);
    return logger;
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
