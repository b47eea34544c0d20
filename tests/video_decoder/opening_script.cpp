#include "video_decoder/opening_script.h"

#include <future>

#include "front/registry/ffmpeg_registry.h"

namespace {
OpeningScript* g_Opening = nullptr;
}  // namespace

OpeningScript::OpeningScript() {
    g_Opening = this;
}

OpeningScript::~OpeningScript() {
    g_Opening = nullptr;
}

OpeningScript* OpeningScript::Current() {
    return g_Opening;
}

bool LibraryLockIsHeldElsewhere() {
    return std::async(std::launch::async,
                      [] {
                          const bool taken = GetMainFfmpegCodecLib()->TryLock();
                          if (taken) {
                              GetMainFfmpegCodecLib()->Unlock();
                          }
                          return !taken;
                      })
        .get();
}

void OpeningScript::Note(const char* call) {
    calls.emplace_back(call);
    lockHeld.push_back(LibraryLockIsHeldElsewhere());
}

extern "C" {

AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);
AVCodecContext* __wrap_avcodec_alloc_context3(const AVCodec* codec) {
    OpeningScript* script = OpeningScript::Current();
    if (script != nullptr) {
        script->Note("alloc_context");
        if (script->noContext) {
            return nullptr;
        }
    }
    return __real_avcodec_alloc_context3(codec);
}

int __real_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options);
int __wrap_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
    OpeningScript* script = OpeningScript::Current();
    if (script != nullptr) {
        script->Note("open");
        script->asked = *context;
        script->optionsGiven = options != nullptr;
        if (script->openResult < 0) {
            av_freep(&context->priv_data);  // as FFmpeg does before it fails
            return script->openResult;
        }
    }
    return __real_avcodec_open2(context, codec, options);
}

AVFrame* __real_av_frame_alloc();
AVFrame* __wrap_av_frame_alloc() {
    OpeningScript* script = OpeningScript::Current();
    if (script != nullptr) {
        script->Note("frame_alloc");
        if (script->noFrame) {
            return nullptr;
        }
    }
    return __real_av_frame_alloc();
}

int __real_avcodec_close(AVCodecContext* context);
int __wrap_avcodec_close(AVCodecContext* context) {
    if (OpeningScript* script = OpeningScript::Current()) {
        script->Note("close");
    }
    return __real_avcodec_close(context);
}

void __real_av_frame_free(AVFrame** frame);
void __wrap_av_frame_free(AVFrame** frame) {
    if (OpeningScript* script = OpeningScript::Current()) {
        script->Note("frame_free");
    }
    __real_av_frame_free(frame);
}

int __real_avcodec_send_packet(AVCodecContext* context, const AVPacket* packet);
int __wrap_avcodec_send_packet(AVCodecContext* context, const AVPacket* packet) {
    if (OpeningScript* script = OpeningScript::Current()) {
        script->calls.emplace_back("send_packet");
    }
    return __real_avcodec_send_packet(context, packet);
}

}  // extern "C"
