#pragma once

/// Stops the library's clock while it lives; `now` is what it shows, in milliseconds. For test programs that wrap
/// _ZN5utils20GetMonotonicTimeInMsEv.
class ClockScript {
public:
    explicit ClockScript(long long start);
    ~ClockScript();
    ClockScript(const ClockScript&) = delete;
    ClockScript& operator=(const ClockScript&) = delete;

    long long now;
    int reads = 0;
};
