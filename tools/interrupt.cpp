#include "interrupt.h"

#include <csignal>

#include "failure.h"

namespace {

volatile std::sig_atomic_t g_Interrupted = 0;

void Remember(int) {
    g_Interrupted = 1;
}

}  // namespace

void CatchInterrupts() {
    std::signal(SIGINT, Remember);
    std::signal(SIGTERM, Remember);
}

void StopIfInterrupted() {
    if (g_Interrupted != 0) {
        throw Failure("interrupted");
    }
}
