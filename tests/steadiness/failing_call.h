#pragma once

#include "steadiness/failing_ffmpeg.h"
#include "support/ffmpeg.h"

namespace failing_ffmpeg {

/// Whether this call of that name is the one that is armed to fail.
bool Fails(const char* call);

/// Puts a call among those that can be armed.
bool Enter(const char* call);

constexpr int kError = AVERROR(EIO);

}  // namespace failing_ffmpeg

// FAILING(RESULT, NAME, WHAT A FAILURE IS, (PARAMETERS), (ARGUMENTS))
#define FAILING(result, name, failure, parameters, arguments)                      \
    extern "C" result __real_##name parameters;                                    \
    extern "C" result __wrap_##name parameters {                                   \
        return failing_ffmpeg::Fails(#name) ? (failure) : __real_##name arguments; \
    }                                                                              \
    [[maybe_unused]] static const bool entered_##name = failing_ffmpeg::Enter(#name);

using failing_ffmpeg::kError;
