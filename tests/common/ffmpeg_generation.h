#pragma once

#include "support/ffmpeg.h"

/// Whether the test runs on FFmpeg 4, the reference. Where a later generation differs for a host, a test says in what.
inline bool IsReferenceFfmpeg() {
    return avcodec_version() >> 16 == 58;
}

/// Whether it runs on FFmpeg 7, which differs from 4 and 5 in more.
inline bool IsFfmpeg7() {
    return avcodec_version() >> 16 == 61;
}

/// The layout of the channels of a context, wherever its generation keeps it.
template <typename Context>
auto LayoutOf(const Context& context, int /*preferred*/) -> decltype(context.ch_layout.u.mask) {
    return context.ch_layout.u.mask;
}

template <typename Context>
uint64_t LayoutOf(const Context& context, long /*otherwise*/) {
    return context.channel_layout;
}

/// The number of channels of a stream or a codec, likewise.
template <typename Holder>
auto ChannelsIn(const Holder& holder, int /*preferred*/) -> decltype(holder.ch_layout.nb_channels) {
    return holder.ch_layout.nb_channels;
}

template <typename Holder>
int ChannelsIn(const Holder& holder, long /*otherwise*/) {
    return holder.channels;
}
