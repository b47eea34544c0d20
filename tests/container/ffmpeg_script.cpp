#include "container/ffmpeg_script.h"

namespace {

FfmpegScript* g_Script = nullptr;

// The script's function of that name, or null.
template <typename Function>
const Function* Scripted(Function FfmpegScript::*function) {
    return g_Script != nullptr && g_Script->*function ? &(g_Script->*function) : nullptr;
}

void Note(const char* call) {
    if (g_Script != nullptr) {
        g_Script->released.emplace_back(call);
    }
}

}  // namespace

FfmpegScript::FfmpegScript() {
    g_Script = this;
}

FfmpegScript::~FfmpegScript() {
    g_Script = nullptr;
}

int FailToOpen(AVFormatContext** context) {
    avformat_free_context(*context);
    *context = nullptr;
    return AVERROR_INVALIDDATA;
}

int OpenFake(AVFormatContext** context, const std::vector<FakeStream>& streams) {
    if (*context == nullptr) {
        *context = avformat_alloc_context();
    }
    for (const FakeStream& fake : streams) {
        AVStream* stream = avformat_new_stream(*context, nullptr);
        stream->time_base = fake.timeBase;
        StreamParameters* codec = ParametersOf(stream);
        codec->codec_type = fake.type;
        codec->codec_id = fake.codec;
        SetSampleFormat(codec, fake.sampleFormat);
        codec->sample_rate = 8000;
        SetChannels(codec, 3);
    }
    return 0;
}

extern "C" {

void* __real_av_malloc(std::size_t size);
void* __wrap_av_malloc(std::size_t size) {
    const auto* scripted = Scripted(&FfmpegScript::malloc);
    return scripted != nullptr ? (*scripted)(size) : __real_av_malloc(size);
}

AVFormatContext* __real_avformat_alloc_context();
AVFormatContext* __wrap_avformat_alloc_context() {
    const auto* scripted = Scripted(&FfmpegScript::allocContext);
    return scripted != nullptr ? (*scripted)() : __real_avformat_alloc_context();
}

using IoProc = int (*)(void*, std::uint8_t*, int);
using SeekProc = std::int64_t (*)(void*, std::int64_t, int);
AVIOContext* __real_avio_alloc_context(unsigned char* buffer, int size, int isWritable, void* opaque, IoProc read,
                                       IoProc write, SeekProc seek);
AVIOContext* __wrap_avio_alloc_context(unsigned char* buffer, int size, int isWritable, void* opaque, IoProc read,
                                       IoProc write, SeekProc seek) {
    const auto* scripted = Scripted(&FfmpegScript::allocIo);
    return scripted != nullptr ? (*scripted)()
                               : __real_avio_alloc_context(buffer, size, isWritable, opaque, read, write, seek);
}

int __real_avformat_open_input(AVFormatContext** context, const char* url, FfmpegInFormat* format,
                               AVDictionary** options);
int __wrap_avformat_open_input(AVFormatContext** context, const char* url, FfmpegInFormat* format,
                               AVDictionary** options) {
    const auto* scripted = Scripted(&FfmpegScript::openInput);
    if (scripted == nullptr) {
        return __real_avformat_open_input(context, url, format, options);
    }
    const int result = (*scripted)(context, url, format);
    // A context that was opened has a format; this one does nothing.
    if (result >= 0 && *context != nullptr && (*context)->iformat == nullptr) {
        (*context)->iformat = av_find_input_format("data");
    }
    return result;
}

int __real_avformat_find_stream_info(AVFormatContext* context, AVDictionary** options);
int __wrap_avformat_find_stream_info(AVFormatContext* context, AVDictionary** options) {
    const auto* scripted = Scripted(&FfmpegScript::findStreamInfo);
    return scripted != nullptr ? (*scripted)(context) : __real_avformat_find_stream_info(context, options);
}

int __real_av_read_frame(AVFormatContext* context, AVPacket* packet);
int __wrap_av_read_frame(AVFormatContext* context, AVPacket* packet) {
    const auto* scripted = Scripted(&FfmpegScript::readFrame);
    return scripted != nullptr ? (*scripted)(context, packet) : __real_av_read_frame(context, packet);
}

AVBitStreamFilterContext* __real_av_bitstream_filter_init(const char* name);
AVBitStreamFilterContext* __wrap_av_bitstream_filter_init(const char* name) {
    const auto* scripted = Scripted(&FfmpegScript::initFilter);
    return scripted != nullptr ? (*scripted)(name) : __real_av_bitstream_filter_init(name);
}

int __real_av_bitstream_filter_filter(AVBitStreamFilterContext* filter, StreamParameters* codec, const char* arguments,
                                      std::uint8_t** out, int* outSize, const std::uint8_t* in, int inSize, int key);
int __wrap_av_bitstream_filter_filter(AVBitStreamFilterContext* filter, StreamParameters* codec, const char* arguments,
                                      std::uint8_t** out, int* outSize, const std::uint8_t* in, int inSize, int key) {
    const auto* scripted = Scripted(&FfmpegScript::filter);
    return scripted != nullptr
               ? (*scripted)(codec, out, outSize, in, inSize, key)
               : __real_av_bitstream_filter_filter(filter, codec, arguments, out, outSize, in, inSize, key);
}

void __real_av_free(void* memory);
void __wrap_av_free(void* memory) {
    Note("av_free");
    __real_av_free(memory);
}

void __real_av_free_packet(AVPacket* packet);
void __wrap_av_free_packet(AVPacket* packet) {
    Note("av_free_packet");
    __real_av_free_packet(packet);
}

void __real_av_bitstream_filter_close(AVBitStreamFilterContext* filter);
void __wrap_av_bitstream_filter_close(AVBitStreamFilterContext* filter) {
    if (filter != nullptr) {
        Note("av_bitstream_filter_close");
    }
    __real_av_bitstream_filter_close(filter);
}

void __real_avformat_close_input(AVFormatContext** context);
void __wrap_avformat_close_input(AVFormatContext** context) {
    if (*context != nullptr) {
        Note("avformat_close_input");
    }
    __real_avformat_close_input(context);
}

}  // extern "C"

int RealOpenInput(AVFormatContext** context, const char* url, FfmpegInFormat* format) {
    return __real_avformat_open_input(context, url, format, nullptr);
}

int RealFindStreamInfo(AVFormatContext* context) {
    return __real_avformat_find_stream_info(context, nullptr);
}

int RealReadFrame(AVFormatContext* context, AVPacket* packet) {
    return __real_av_read_frame(context, packet);
}
