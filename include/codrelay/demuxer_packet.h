#pragma once

/// @file
/// What demuxers hand out.

/// One packet as a demuxer hands it to its callback. A plain record; the bytes behind `data` are the demuxer's.
struct DEMUXER_PACKET {
    /// The packet's bytes, borrowed: good until the callback returns, and not to be freed. Where `size` is 0 it may be
    /// null or not, and there is nothing to be read.
    unsigned char* data;
    /// Bytes at `data`.
    int size;
    /// Index of the stream in the container, from 0.
    int streamIndex;
    /// Presentation time. Milliseconds from a file demuxer, ticks of the stream's time base from a memory demuxer;
    /// -9223372036854775808 where the container gives none. May be negative, and is not in order where pictures are
    /// reordered.
    long long pts;
    /// Decoding time, in the same unit, likewise -9223372036854775808 where there is none.
    long long dts;
    /// 1 for a key frame, else 0.
    unsigned int keyFrame;
};
