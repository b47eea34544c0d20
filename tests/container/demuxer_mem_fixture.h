#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

#include "common/test_media.h"
#include "support/ffmpeg.h"

class DemuxerMem : public testing::Test {
protected:
    /// A hang must end the run, not the patience of whoever waits for it.
    DemuxerMem() {
        alarm(kWatchdogSeconds);
        av_log_set_level(AV_LOG_QUIET);
    }
    ~DemuxerMem() override { alarm(0); }

    static std::vector<unsigned char> Film() { return ReadFile(Clip("demux_memory.asf")); }
    static std::vector<unsigned char> MuLaw() { return ReadFile(Clip("mux_mulaw.wav")); }

private:
    static constexpr unsigned int kWatchdogSeconds = 240;
};
