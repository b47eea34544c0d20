// What a muxer leaves behind by design, and nothing else: FFmpeg's insides of the context and its streams, made when
// the muxer is created and when its header is written, and the packets that are held back where no trailer follows.

// The sanitizer finds these from its own library.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:CMuxerFile::Create\n"
           "leak:CMuxerFile::WriteHeader\n"
           "leak:CMuxerMem::Create\n"
           "leak:CMuxerMem::WriteHeader\n"
           "leak:muxing::WriteInterleaved\n";
}

// FFmpeg keeps no frame pointers: only slow unwinding leads through it to the names above.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0";
}
