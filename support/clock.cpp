#include "codrelay/utils/clock.h"

#include <sys/time.h>

#include <cstdio>

namespace utils {

long long GetLocalTimeInMs() {
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        std::printf("GetLocalTimeInMs: gettimeofday failed");
    }
    return now.tv_sec * 1000LL + now.tv_usec / 1000;
}

// The wall clock on purpose: hosts know the statistics to follow it.
long long GetMonotonicTimeInMs() {
    return GetLocalTimeInMs();
}

}  // namespace utils
