#include "ffmpeg_script.h"

namespace {

FfmpegScript* g_Script = nullptr;

/// The hook if there is a script that has one, otherwise the real function.
template <typename Result, typename... Arguments>
Result Run(std::function<Result(Arguments...)> FfmpegScript::*hook, Result (*real)(Arguments...),
           Arguments... arguments) {
    return g_Script != nullptr && g_Script->*hook ? (g_Script->*hook)(arguments...) : real(arguments...);
}

}  // namespace

FfmpegScript::FfmpegScript() {
    g_Script = this;
}

FfmpegScript::~FfmpegScript() {
    g_Script = nullptr;
}

extern "C" {
AVCodecContext* __wrap_avcodec_alloc_context3(const AVCodec* codec) {
    return Run(&FfmpegScript::allocContext, __real_avcodec_alloc_context3, codec);
}

int __wrap_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
    return Run(&FfmpegScript::open, __real_avcodec_open2, context, codec, options);
}

int __wrap_avcodec_close(AVCodecContext* context) {
    return Run(&FfmpegScript::close, __real_avcodec_close, context);
}

int __wrap_avcodec_encode_video2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket) {
    return Run(&FfmpegScript::encode, __real_avcodec_encode_video2, context, packet, frame, gotPacket);
}

AVFrame* __wrap_av_frame_alloc() {
    return Run(&FfmpegScript::allocFrame, __real_av_frame_alloc);
}

long long __wrap__ZN5utils20GetMonotonicTimeInMsEv() {
    return Run(&FfmpegScript::clock, __real__ZN5utils20GetMonotonicTimeInMsEv);
}
}
