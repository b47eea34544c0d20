#pragma once

#include "codrelay/muxer_param.h"
#include "support/ffmpeg.h"

/// What the file muxer and the memory muxer have in common.
namespace muxing {

/// The time base of all host timestamps.
inline constexpr AVRational kHostTimeBase{1, 1000};

/// What a video stream's legacy codec context says beyond the codec and the size.
struct VideoTuning {
    int64_t bitRate;
    int gopSize;
};

/// Writes the codecs into the format's own record, which makes them the defaults of that format for the process.
void SetFormatCodecs(FfmpegOutFormat* format, const MUXER_PARAM& param);

/// A new stream at 25 pictures a second, or null.
AVStream* NewVideoStream(AVFormatContext* context, const MUXER_PARAM& param, const VideoTuning& tuning);
/// A new stream of packed 16-bit sound, or null.
AVStream* NewAudioStream(AVFormatContext* context, const MUXER_PARAM& param);

/// Frees the streams and the context, and no more than these: what they own in turn stays behind. Null is fine.
void AbandonContext(AVFormatContext* context);

/// A whole quotient; 0 where there is none.
int Quotient(int dividend, int divisor);

/// Host milliseconds in the stream's ticks, raised to one more than `previous` where they are not greater. Without a
/// stream they stay milliseconds.
int64_t NextPts(int64_t milliseconds, const AVStream* stream, int64_t previous);

/// The time that has passed since the origin; wraps instead of overflowing.
int64_t SinceOrigin(int64_t pts, int64_t origin, int64_t shift);

/// One encoded packet, whose bytes are borrowed.
struct Packet {
    uint8_t* data;
    int size;
    bool key;
    int64_t pts;
};

/// Hands a packet to the interleaver, which copies the bytes. The decoding time is left to libavformat.
int WriteInterleaved(AVFormatContext* context, const AVStream* stream, const Packet& packet);

}  // namespace muxing
