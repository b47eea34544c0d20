// Sends everything to one place: the library's own log, and what FFmpeg says by itself. Then provokes one line of each.
//
//   example_route_logs
#include <codrelay/codrelay.h>
#include <dlfcn.h>
#include <uvqlog/control.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

namespace {

/// The one place. Lines come from every thread that uses the library.
void Write(const std::string& source, const std::string& severity, std::string text) {
    static std::mutex mutex;
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    const std::lock_guard<std::mutex> lock(mutex);
    std::printf("[%s] %s: %s\n", source.c_str(), severity.c_str(), text.c_str());
}

const char* NameOf(uvqlog::Severity severity) {
    switch (severity) {
        case uvqlog::Severity::Trace:
            return "trace";
        case uvqlog::Severity::Info:
            return "info";
        case uvqlog::Severity::Warning:
            return "warning";
        case uvqlog::Severity::Error:
            return "error";
        case uvqlog::Severity::Critical:
            return "critical";
    }
    return "unknown";
}

/// FFmpeg's own levels: 16 is an error, 24 a warning, 32 information; lower is worse.
extern "C" void WriteForFfmpeg(void*, int level, const char* format, va_list arguments) {
    if (level > 24)
        return;
    char text[1024];
    std::vsnprintf(text, sizeof text, format, arguments);
    Write("FFmpeg itself", level <= 16 ? "error" : "warning", text);
}

/// The library's FFmpeg is in the process once the library is. It is looked for from there, so that another FFmpeg that
/// the host may use is not meant.
bool RouteFfmpeg() {
    void* library = dlopen("libcodrelay.so.1", RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr)
        return false;
    using SetCallback = void (*)(void (*)(void*, int, const char*, va_list));
    const auto set = reinterpret_cast<SetCallback>(dlsym(library, "av_log_set_callback"));
    if (set != nullptr)
        set(WriteForFfmpeg);
    dlclose(library);
    return set != nullptr;
}

void RouteLibrary() {
    uvqlog::SetThreshold(uvqlog::Severity::Warning);
    uvqlog::SetSink([](const uvqlog::LogEvent& event) {
        Write(std::string(event.logger), NameOf(event.severity), std::string(event.text));
    });
}

void ProvokeLines() {
    const std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    file->Open("there is no such file", nullptr);

    CVideoDecoderBase* decoder = Codrelay_VideoDecoder(VIDEO_CODEC_JPEG, "");
    decoder->CreateDecoder(CSP_YUV420P, 320, 240, nullptr);
    unsigned char noJpeg[] = "These bytes are no picture.";
    decoder->Decode(noJpeg, sizeof noJpeg);
    decoder->DestroyDecoder();
    decoder->Delete();

    Codrelay_VideoTransformCheckSize(1, 1);
}

}  // namespace

int main() {
    // Before anything else, so that no line is missed.
    RouteLibrary();
    Codrelay_Create(nullptr);
    if (!RouteFfmpeg()) {
        std::fprintf(stderr, "FFmpeg's log is not to be had\n");
        return 1;
    }
    ProvokeLines();
    Codrelay_Destroy();
    uvqlog::SetSink({});
}
