#pragma once

/// @file
/// Muxers into memory.

#include "codrelay/export.h"

/// Writes encoded video and audio into a container that the host takes away in pieces. Made by `Codrelay_MuxerMem`,
/// disposed of by `Delete`.
///
/// For the header, for each write and for the trailer alike the host calls `BeginWriteBuf`, the write, `GetWriteBuf`
/// and, when it has used the piece, `FreeWriteBuf`. The pieces in a row are the container. Only containers that can be
/// written without seeking are possible: FLV, AVI and MPEG-TS. Times and threads are as for CMuxerFileBase, but sound
/// always keeps the host's times.
class CODRELAY_API CMuxerMemBase {
public:
    virtual ~CMuxerMemBase();

    /// Disposes of the object; a buffer that is still open is lost with it.
    virtual void Delete() = 0;

    /// Opens the buffer for the next write. One that is open already is thrown away. 1 on success, else 0.
    virtual int BeginWriteBuf() = 0;

    /// Closes the buffer and hands over what it holds. Returns the count of bytes; `buffer` is theirs, or null where
    /// there are none, which is common: libavformat holds packets back to interleave them. 0 and null too where no
    /// buffer is open. To be freed by `FreeWriteBuf` before or after the muxer goes.
    virtual int GetWriteBuf(unsigned char*& buffer) = 0;

    /// Frees what `GetWriteBuf` gave; null is fine.
    virtual void FreeWriteBuf(unsigned char* buffer) = 0;

    /// Writes the container's header. 1 on success; 0 without an open buffer, without a video stream, or where the
    /// container refuses the streams or wants to seek, or where libavformat answers anything but plain success.
    /// REQUIRES: called once. After `WriteTrailer` a second call succeeds, and a write is then refused until its time
    /// has passed the last one before. Make a new muxer for each container.
    virtual int WriteHeader() = 0;

    /// As CMuxerFileBase::WriteFrame; 0 also without an open buffer.
    virtual int WriteFrame(unsigned char* data, int size, int keyFrame, long long pts) = 0;

    /// Writes a block of encoded sound of `size` bytes at `data`, borrowed for the call, at `pts` milliseconds. MP3 is
    /// cut into frames of 144 * `sampleRate` / `audioBitRate` bytes, each 1152000 / `sampleRate` milliseconds after the
    /// one before; a rest is dropped. Every other codec gets one packet a block.
    /// 1 on success, a block that is less than a frame included; 0 on an empty block, without an accepted header or an
    /// open buffer, without an audio stream, or where the container refuses a frame; those before it stay written.
    virtual int WriteSound(unsigned char* data, int size, long long pts) = 0;

    /// Writes what libavformat holds back and the container's trailer. 1 on success; 0 without an accepted header or an
    /// open buffer, or where the container fails.
    virtual int WriteTrailer() = 0;
};
