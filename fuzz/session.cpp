// What every fuzzer starts with: a library whose log lines are all made, and written nowhere.
#include "codrelay/library.h"
#include "support/ffmpeg.h"
#include "uvqlog/control.h"

namespace {

// Streams may claim pictures of gigabytes; an allocation that fails is as good a test, and quicker.
constexpr std::size_t kLargestAllocationOfFfmpeg = 16 << 20;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    uvqlog::SetSink([](const uvqlog::LogEvent&) {});
    uvqlog::SetThreshold(uvqlog::Severity::Trace);
    Codrelay_SetFfmpegLogLevel("quiet");
    Codrelay_Create(nullptr);
    av_max_alloc(kLargestAllocationOfFfmpeg);
    return 0;
}
