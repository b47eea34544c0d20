#pragma once

/// One packet as a demuxer hands it to its callback.
struct DEMUXER_PACKET {
    /// The packet's bytes, borrowed: good until the callback returns.
    unsigned char* data;
    /// Bytes at `data`.
    int size;
    /// Index of the stream in the container.
    int streamIndex;
    /// Presentation time. Milliseconds from a file demuxer, ticks of the stream's time base from a memory demuxer,
    /// -9223372036854775808 where the container gives none.
    long long pts;
    /// Decoding time, likewise.
    long long dts;
    /// 1 for a key frame, else 0.
    unsigned int keyFrame;
};
