#include "video_decoder/clock_script.h"

namespace {
ClockScript* g_Clock = nullptr;
}  // namespace

// utils::GetMonotonicTimeInMs()
extern "C" long long __real__ZN5utils20GetMonotonicTimeInMsEv();
extern "C" long long __wrap__ZN5utils20GetMonotonicTimeInMsEv() {
    if (g_Clock == nullptr) {
        return __real__ZN5utils20GetMonotonicTimeInMsEv();
    }
    ++g_Clock->reads;
    return g_Clock->now;
}

ClockScript::ClockScript(long long start) : now(start) {
    g_Clock = this;
}

ClockScript::~ClockScript() {
    g_Clock = nullptr;
}
