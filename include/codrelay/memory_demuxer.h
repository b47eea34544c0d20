#pragma once

/// @file
/// Demuxers of bytes in memory.

#include "codrelay/audio_format.h"
#include "codrelay/demuxer_packet.h"
#include "codrelay/export.h"

/// What a host implements to receive the streams and packets of a memory demuxer. Every operation runs on the
/// demuxer's own reader thread; the results are ignored. None may call `Create`, `Destroy` or `Delete` of its demuxer,
/// which wait for that very thread, nor `WriteData`, which may wait for it. None may throw; where one does all the
/// same, the thread ends as after a failed step, with a line at Critical on the logger "ffmpeg". Nothing tells the end
/// of the stream or a failure: after either, `WriteData` returns false.
class CODRELAY_API CDemuxerMemCallback {
public:
    virtual ~CDemuxerMemCallback();

    /// A video stream of the container, told once, before any packet. `codecId` is a `VIDEO_CODEC_*` id, -1 for a codec
    /// that has none.
    virtual int OnVideoStream(int streamIndex, int codecId) = 0;
    /// An audio stream likewise, with an `AUDIO_CODEC_*` id, or -1 also where several ids share a codec, as those of
    /// G.726 do. `format` is borrowed for the call; a sample format that the header does not tell is AUDIO_SAMPLE_S16,
    /// and a rate and a number of channels that it does not tell are 0, as in MPEG-TS and MP3.
    virtual int OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) = 0;
    /// The next packet of any stream, in the container's order and as the container holds it: H.264 out of Matroska
    /// keeps its length prefixes. Times are ticks of the stream's own time base, which the host is not told.
    virtual int OnPacket(DEMUXER_PACKET* packet) = 0;
};

/// Demuxes a container that the host pushes in as bytes. A reader thread takes them from a buffer of 524288 bytes and
/// calls back. Made by `Codrelay_DemuxerMem`, disposed of by `Delete`. One thread at a time writes; `Destroy` and
/// `Delete` may come from another thread and end a `WriteData` that blocks.
class CODRELAY_API CDemuxerMemBase {
public:
    virtual ~CDemuxerMemBase();

    /// Starts the reader thread for a format, by FFmpeg's long name, such as "WAV format". What ran before is destroyed
    /// first. 1 as soon as the thread runs, whether or not there is such a format; 0 if there is no thread to be had;
    /// the buffer is there all the same, so nothing should be written before the next `Create` or `Destroy`.
    /// `formatName` is copied; `callback` is not owned and must live until `Destroy` or `Delete` has returned.
    /// REQUIRES: `callback` is not null.
    virtual int Create(const char* formatName, CDemuxerMemCallback* callback) = 0;

    /// Ends the reader thread and waits for it. Bytes that it has not read are lost, but what it
    /// has read may still lead to callbacks during the call. The thread ends with a line at Critical, which is routine
    /// here. May be called any number of times.
    virtual void Destroy() = 0;

    /// `Destroy`, then the object goes.
    virtual void Delete() = 0;

    /// Stores `size` bytes from `data`, which is borrowed for the call. Blocks while the buffer's end is reached and
    /// the reader has not taken everything: room at the front is not used before that. True if all bytes were stored,
    /// also for a `size` of 0; false if nothing is created, or the reader has ended, and then what was given is lost,
    /// all or in part.
    virtual bool WriteData(unsigned char* data, unsigned int size) = 0;
};

/// Reads up to `size` bytes from the start of the file that `path`, a `const char*`, names, at every call anew. The
/// count of bytes, or -1 if the file does not open.
CODRELAY_API int ReadDataProc(void* path, unsigned char* buffer, int size);
