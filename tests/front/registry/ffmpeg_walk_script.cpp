#include "front/registry/ffmpeg_walk_script.h"

#include <algorithm>
#include <cstring>

namespace {

FfmpegWalkScript* g_Script = nullptr;

template <typename Item>
Item* Next(const std::vector<Item*>& list, const Item* item) {
    const auto found = std::find(list.begin(), list.end(), item);
    const auto next = item == nullptr ? list.begin() : found + 1;
    return next != list.end() ? *next : nullptr;
}

template <typename Item>
Item* Step(std::vector<Item*> FfmpegWalkScript::*list, const Item* item, Item* (*real)(const Item*)) {
    if (g_Script == nullptr) {
        return real(item);
    }
    ++g_Script->steps;
    if (g_Script->onStep) {
        g_Script->onStep();
    }
    return (g_Script->*list).empty() ? real(item) : Next(g_Script->*list, item);
}

void Note(const char* call) {
    if (g_Script != nullptr) {
        g_Script->registered.emplace_back(call);
    }
}

}  // namespace

FfmpegWalkScript::FfmpegWalkScript() {
    g_Script = this;
}

FfmpegWalkScript::~FfmpegWalkScript() {
    g_Script = nullptr;
}

extern "C" {

AVCodec* __real_av_codec_next(const AVCodec* codec);
AVCodec* __wrap_av_codec_next(const AVCodec* codec) {
    return Step(&FfmpegWalkScript::codecs, codec, __real_av_codec_next);
}

AVOutputFormat* __real_av_oformat_next(const AVOutputFormat* format);
AVOutputFormat* __wrap_av_oformat_next(const AVOutputFormat* format) {
    return Step(&FfmpegWalkScript::outFormats, format, __real_av_oformat_next);
}

AVInputFormat* __real_av_iformat_next(const AVInputFormat* format);
AVInputFormat* __wrap_av_iformat_next(const AVInputFormat* format) {
    return Step(&FfmpegWalkScript::inFormats, format, __real_av_iformat_next);
}

AVCodec* __real_avcodec_find_encoder_by_name(const char* name);
AVCodec* __wrap_avcodec_find_encoder_by_name(const char* name) {
    if (g_Script == nullptr || g_Script->codecs.empty()) {
        return __real_avcodec_find_encoder_by_name(name);
    }
    const auto& encoders = g_Script->encoders;
    const auto found = std::find_if(encoders.begin(), encoders.end(),
                                    [name](const AVCodec* codec) { return std::strcmp(codec->name, name) == 0; });
    return found != encoders.end() ? *found : nullptr;
}

void __real_avcodec_register_all();
void __wrap_avcodec_register_all() {
    Note("avcodec_register_all");
    __real_avcodec_register_all();
}

void __real_avfilter_register_all();
void __wrap_avfilter_register_all() {
    Note("avfilter_register_all");
    __real_avfilter_register_all();
}

void __real_av_register_all();
void __wrap_av_register_all() {
    Note("av_register_all");
    __real_av_register_all();
}

}  // extern "C"
