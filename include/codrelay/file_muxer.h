#pragma once

/// @file
/// Muxers into files.

#include "codrelay/export.h"

/// Writes encoded video and audio into a container file. Made by `Codrelay_MuxerFile`, disposed of by `Delete`.
///
/// The order of calls is `WriteHeader`, any mix of `WriteFrame` and `WriteSound`, `WriteTrailer`, `Delete`. Host times
/// are milliseconds from any origin: the first write, of whichever medium, is the origin of the file, also
/// one that fails on an empty block. Within a stream
/// the times in the file rise strictly; where the host's do not, the previous time plus one tick is written. The first
/// picture at the origin is written at tick 1. Every failure is one line on the logger "ffmpeg". One thread at a time
/// drives one muxer; any threads may make muxers at the same time.
class CODRELAY_API CMuxerFileBase {
public:
    virtual ~CMuxerFileBase();

    /// Disposes of the object. A muxer that goes without `WriteTrailer` leaves its file open and unfinished. A few
    /// kilobytes of FFmpeg's own stay behind for each muxer in any case.
    virtual void Delete() = 0;

    /// Opens the file and writes the container's header. 1 on success; 0 where the file cannot be opened,
    /// after which it may be tried again, where the container refuses the streams, which leaves the file open, or where
    /// libavformat answers anything but plain success, as it may for a second header.
    /// REQUIRES: called once. Before `WriteTrailer` a second call leaves the first file open. After it the call
    /// succeeds and empties the finished file, and a write is then refused until its time has passed the last one of
    /// the first file. Make a new muxer for each file.
    virtual int WriteHeader() = 0;

    /// Writes one encoded picture of `size` bytes at `data`, which is borrowed for the call. `keyFrame` is nonzero for
    /// a key frame, `pts` is in milliseconds. 1 on success; 0 on an empty block, without an accepted header, after the
    /// trailer, without a video stream, or where the container refuses the packet, which is then lost.
    virtual int WriteFrame(unsigned char* data, int size, int keyFrame, long long pts) = 0;

    /// Writes a block of encoded sound of `size` bytes at `data`, borrowed for the call. `pts` is in milliseconds.
    ///
    /// MP3 is cut into frames of 144 * `audioBitRate` / `sampleRate` bytes and, alternating, one byte more; a rest that
    /// is no whole frame is dropped, what the last declared frame lacks is written as zeros, and rates that give no
    /// whole byte a frame write nothing. The first frame takes `pts`; the others follow by whole milliseconds a frame,
    /// whatever later calls say. Every other codec gets one packet a block: `pts` counts until the first block that is
    /// not at the origin, and from there on each block is one tick of the stream after the one before.
    ///
    /// Each frame is a line at Info, and bytes written that are not `size` are a line at Error, with result 1.
    /// 1 on success; 0 on an empty block, without an accepted header, after the trailer, without an audio stream, or
    /// where the container refuses a frame; the frames before that one stay written.
    /// REQUIRES: for a codec other than MP3, one more readable byte behind a block whose size modulo 209 is 105: it is
    /// written too.
    virtual int WriteSound(unsigned char* data, int size, long long pts) = 0;

    /// Writes the container's trailer and closes the file. 1 on success; 0 without an accepted header or where the
    /// container fails, which leaves the file open.
    virtual int WriteTrailer() = 0;

    /// Bytes on disk at this moment; 4294967295 while no file is open, a negative number where the output cannot tell.
    /// What libavformat still holds in memory (up to 256 KiB) is not counted.
    virtual long long GetFileSize() = 0;
};
