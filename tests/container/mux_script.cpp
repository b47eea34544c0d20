#include "container/mux_script.h"

MuxScript g_MuxScript;

extern "C" {

int __real_av_interleaved_write_frame(AVFormatContext* context, AVPacket* packet);
AVStream* __real_avformat_new_stream(AVFormatContext* context, const AVCodec* codec);
int __real_avformat_alloc_output_context2(AVFormatContext** context, AVOutputFormat* format, const char* name,
                                          const char* file);
int __real_avio_open_dyn_buf(AVIOContext** io);
int __real_av_write_trailer(AVFormatContext* context);

int __wrap_av_interleaved_write_frame(AVFormatContext* context, AVPacket* packet) {
    if (packet == nullptr) {
        ++g_MuxScript.flushes;
        return __real_av_interleaved_write_frame(context, packet);
    }
    g_MuxScript.written.push_back({packet->stream_index,
                                   packet->size,
                                   packet->flags,
                                   packet->pts,
                                   packet->dts,
                                   packet->data,
                                   {packet->data, packet->data + packet->size}});
    if (g_MuxScript.written.size() > g_MuxScript.failFrom) {
        av_packet_unref(packet);
        return g_MuxScript.answer;
    }
    if (g_MuxScript.passOn) {
        return __real_av_interleaved_write_frame(context, packet);
    }
    av_packet_unref(packet);
    return 0;
}

AVStream* __wrap_avformat_new_stream(AVFormatContext* context, const AVCodec* codec) {
    return g_MuxScript.noStream ? nullptr : __real_avformat_new_stream(context, codec);
}

int __wrap_avformat_alloc_output_context2(AVFormatContext** context, AVOutputFormat* format, const char* name,
                                          const char* file) {
    if (g_MuxScript.allocAnswer < 0 || g_MuxScript.nullContext) {
        return g_MuxScript.allocAnswer;
    }
    return __real_avformat_alloc_output_context2(context, format, name, file);
}

int __wrap_avio_open_dyn_buf(AVIOContext** io) {
    return g_MuxScript.dynBufAnswer != 0 ? g_MuxScript.dynBufAnswer : __real_avio_open_dyn_buf(io);
}

int __wrap_av_write_trailer(AVFormatContext* context) {
    const int answer = __real_av_write_trailer(context);
    return g_MuxScript.trailerAnswer != 0 ? g_MuxScript.trailerAnswer : answer;
}

}  // extern "C"
