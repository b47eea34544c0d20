#pragma once

#include "codrelay/audio_format.h"
#include "codrelay/demuxer_packet.h"
#include "codrelay/export.h"

/// What a host implements to receive the packets of a file.
class CODRELAY_API CDemuxerFileCallback {
public:
    virtual ~CDemuxerFileCallback();

    /// The packet just read. Runs on the thread that called `ReadNextFrame`. The result is ignored.
    virtual int OnPacket(DEMUXER_PACKET* packet) = 0;
};

/// Reads a container file on the caller's thread, one packet per call. Disposed of by `delete`.
class CODRELAY_API CDemuxerFileBase {
public:
    virtual ~CDemuxerFileBase();

    virtual bool Open(const char* path, CDemuxerFileCallback* callback) = 0;
    virtual bool IsOpen() = 0;
    virtual void Close() = 0;
    virtual int ReadNextFrame() = 0;
    virtual int GetStreamCount() = 0;
    virtual int GetStreamType(int index) = 0;
    virtual bool GetVideoStreamInfo(int index, int* codecId) = 0;
    virtual bool GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format) = 0;
};
