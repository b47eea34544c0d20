// For programs that make hundreds of muxers, each of which leaves FFmpeg's insides of its container behind: to tell
// these from a leak, the sanitizer would have to walk the whole stack at every allocation. The everyday build counts
// blocks.

// The sanitizer finds this from its own library.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}
