#pragma once

/// @file
/// Demuxers of files.

#include "codrelay/audio_format.h"
#include "codrelay/demuxer_packet.h"
#include "codrelay/export.h"

/// What a host implements to receive the packets of a file.
class CODRELAY_API CDemuxerFileCallback {
public:
    virtual ~CDemuxerFileCallback();

    /// The packet just read. Runs on the thread that called `ReadNextFrame`. The record is good for the call; the bytes
    /// of a file demuxer stay good until the next `ReadNextFrame` or `Close` of that demuxer, or its end. Must not call
    /// the demuxer back. The result is ignored. What it throws passes to the caller of `ReadNextFrame`; the packet
    /// counts as read, and the next call goes on behind it.
    virtual int OnPacket(DEMUXER_PACKET* packet) = 0;
};

/// Reads a container file on the caller's thread, one packet per call. The format is found by looking at the file.
///
/// H.264 is handed out with start codes (Annex B) whatever the container holds; of several H.264 streams that is true
/// for the first only. Parameter sets that the container keeps apart, as MP4, Matroska and FLV do, are put before key
/// frames; those that stand in the stream come where they stand, which may be once, at its beginning (MPEG-TS, AVI, raw
/// files). Other codecs are handed out as the container holds them:
/// H.265 from MP4 keeps its length prefixes, and the decoder of this library gets no picture from it.
///
///     std::unique_ptr<CDemuxerFileBase> demuxer(Codrelay_DemuxerFile(0));
///     if (demuxer->Open("clip.mp4", &callback)) {
///         while (demuxer->ReadNextFrame() == 1) {
///         }
///     }
///
/// Disposed of by `delete`, which closes the file. One thread at a time may use an object; different objects are
/// independent.
class CODRELAY_API CDemuxerFileBase {
public:
    virtual ~CDemuxerFileBase();

    /// Opens a file, reads as much of it as is needed to know its streams, and closes the one that was open before.
    /// `path` is a file name in the system's encoding. `callback` receives the packets; it is not owned, must live as
    /// long as packets are read, and may be null. False, with one line at Error on the logger "ffmpeg" and the demuxer
    /// closed, if the file cannot be opened or is not understood.
    virtual bool Open(const char* path, CDemuxerFileCallback* callback) = 0;

    /// True between a successful `Open` and `Close`.
    virtual bool IsOpen() = 0;

    /// Closes the file and frees the packet last read. Does nothing more on a closed demuxer.
    virtual void Close() = 0;

    /// Reads one packet of any stream, in the order of the file, and hands it to the callback, if there is one.
    /// Returns 1 for a packet, 0 at the end of the file, on a read error (which looks the same) and on a closed
    /// demuxer. Also 0, with a line at Error on the logger "ffmpeg", for an H.264 packet that cannot be brought into
    /// Annex B form; the next call goes on behind it. After the end every call gives 0.
    virtual int ReadNextFrame() = 0;

    /// The number of streams, 0 on a closed demuxer. Some containers (MPEG-TS, FLV) may gain streams while reading.
    virtual int GetStreamCount() = 0;

    /// 1 for video, 2 for audio, 0 for anything else and for an index that is not there.
    virtual int GetStreamType(int index) = 0;

    /// Stores the `VIDEO_CODEC_*` id of a video stream, VIDEO_CODEC_NONE for a codec without one. False, with
    /// `*codecId` untouched, if the stream is not video or not there. REQUIRES: `codecId` is not null.
    virtual bool GetVideoStreamInfo(int index, int* codecId) = 0;

    /// Stores the `AUDIO_CODEC_*` id of an audio stream, -1 for a codec without one, and its format; `sampleFormat` is
    /// 0 where it is not known. G.726 has no id here, since the container's codec does not tell its bit rate. False,
    /// with both untouched, if the stream is not audio or not there. REQUIRES: neither pointer is null.
    virtual bool GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format) = 0;
};
