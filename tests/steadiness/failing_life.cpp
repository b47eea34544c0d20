#include "steadiness/failing_life.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <new>
#include <stdexcept>

#include "support/ffmpeg.h"

std::string ScratchFile() {
    return testing::TempDir() + "failing_ffmpeg_" + std::to_string(getpid());
}

// Where a picture cannot be laid out, there is no telling how much memory it wants: transforms answer with the
// exceptions of an allocation.
bool Lead(Life* life) {
    try {
        return life->Build() && life->Create() && life->Work().has_value();
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
}

Subject::Subject(const LifeKind& kind) : life(kind.begin(nullptr, ScratchFile())) {
    av_log_set_level(AV_LOG_QUIET);
    expected = LeadLife(life.get());
    EndLife(life.get());
}
