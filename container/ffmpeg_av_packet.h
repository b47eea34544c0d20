#pragma once

#include "codrelay/demuxer_packet.h"
#include "codrelay/utils/noncopyable.h"
#include "support/ffmpeg.h"

/// Owns one packet for the time between two reads. Belongs to one thread.
class FfmpegAvPacket : utils::Noncopyable {
public:
    FfmpegAvPacket();
    ~FfmpegAvPacket();

    /// Frees what is held; nothing if nothing is.
    void Release();

    /// Says whether `GetAvPacket` holds something that must be freed.
    void SetValid(bool valid);

    /// Releases, then takes over the packet, record and references. `ownsData` is true for bytes from av_malloc that no
    /// reference of the packet covers.
    void SetPacket(const AVPacket* packet, bool ownsData);

    /// For FFmpeg to fill. REQUIRES: released before, `SetValid` after.
    AVPacket* GetAvPacket();

    /// Describes the packet. `out` borrows the bytes until the next `Release`.
    void GetDemuxerPacket(DEMUXER_PACKET* out);

private:
    AVPacket m_Packet;
    bool m_bValid;
    bool m_bOwnsData;
};
