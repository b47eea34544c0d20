#pragma once

#include <unistd.h>

#include <new>
#include <string>

#include "common/log_capture.h"
#include "steadiness/failing_memory.h"
#include "support/ffmpeg.h"
#include "support/log_front.h"

// What the tests of failing memory have in common.

/// Every line is put together, and so takes memory; the sink takes none.
class AllLinesDropped {
public:
    AllLinesDropped() {
        av_log_set_level(AV_LOG_QUIET);
        uvqlog::SetSink([](const uvqlog::LogEvent&) {});
        uvqlog::SetThreshold(uvqlog::Severity::Trace);
        CODRELAY_LOG(Info) << "loggers are made once";
        FFMPEG_LOG(Info) << "this one, too";
    }
    ~AllLinesDropped() {
        failing_memory::Disarm();
        uvqlog::SetSink({});
        uvqlog::SetThreshold(uvqlog::Severity::Warning);
    }
    AllLinesDropped(const AllLinesDropped&) = delete;
    AllLinesDropped& operator=(const AllLinesDropped&) = delete;
};

/// What the process holds, or the difference of two such.
struct Kept {
    long blocks = failing_memory::LiveBlocks();
    long objects = failing_memory::LiveObjects();

    Kept operator-(const Kept& before) const { return {blocks - before.blocks, objects - before.objects}; }
};

/// True where the call came to a good end.
template <typename Call>
bool Succeeds(const Call& call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

inline std::string ScratchFile() {
    return testing::TempDir() + "failing_memory_" + std::to_string(getpid());
}
