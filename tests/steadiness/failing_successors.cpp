// What the library calls in the place of calls that FFmpeg has dropped since its fourth generation.

#include "steadiness/failing_call.h"

FAILING(int, av_dict_set_int, kError, (AVDictionary * *dictionary, const char* key, int64_t value, int flags),
        (dictionary, key, value, flags))
FAILING(int, av_channel_layout_copy, kError, (AVChannelLayout * to, const AVChannelLayout* from), (to, from))

FAILING(int, avcodec_send_frame, kError, (AVCodecContext * context, const AVFrame* frame), (context, frame))
FAILING(int, avcodec_receive_packet, kError, (AVCodecContext * context, AVPacket* packet), (context, packet))
FAILING(int, avcodec_parameters_copy, kError, (AVCodecParameters * to, const AVCodecParameters* from), (to, from))

FAILING(const AVBitStreamFilter*, av_bsf_get_by_name, nullptr, (const char* name), (name))
FAILING(int, av_bsf_alloc, kError, (const AVBitStreamFilter* filter, AVBSFContext** context), (filter, context))
FAILING(int, av_bsf_init, kError, (AVBSFContext * context), (context))
FAILING(int, av_bsf_send_packet, kError, (AVBSFContext * context, AVPacket* packet), (context, packet))
FAILING(int, av_bsf_receive_packet, kError, (AVBSFContext * context, AVPacket* packet), (context, packet))
