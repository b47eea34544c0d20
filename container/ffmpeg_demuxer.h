#pragma once

#include <memory>

#include "codrelay/audio_format.h"
#include "codrelay/utils/noncopyable.h"
#include "container/ffmpeg_av_packet.h"
#include "support/ffmpeg.h"

/// Reads a container of a format named in advance through a read procedure. The streams are those that the container's
/// header tells. Belongs to the thread that drives it; the read procedure runs there too.
class FfmpegDemuxer : utils::Noncopyable {
public:
    FfmpegDemuxer();
    ~FfmpegDemuxer();

    /// Sets the input format, by FFmpeg's long name, and the size of the I/O buffer in bytes. False, and a line at
    /// Error, if there is no such format. Throws std::bad_alloc for a negative size.
    bool Create(const char* formatName, int bufferSize);

    /// Reads the header, for as long as `readProc(opaque, buffer, size)` blocks, which has the meaning of
    /// avio_alloc_context's read_packet. What was open before is closed. False, and a line at Critical, on failure.
    bool Open(int (*readProc)(void*, unsigned char*, int), void* opaque);

    /// The next packet, times in ticks of its stream. False at the end and on an error alike.
    bool ReadNextFrame(FfmpegAvPacket* packet);

    int GetStreamCount();
    /// 1 for video, 2 for audio, 0 for anything else.
    int GetStreamType(int index);
    /// False, and nothing stored, if the stream is not video.
    bool GetVideoStreamInfo(int index, int* codecId);
    /// False, and nothing stored, if the stream is not audio. A sample format that the header does not tell counts as
    /// AUDIO_SAMPLE_S16.
    bool GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format);

    /// Ends the input; `Open` may be called again.
    void Close();

    /// Back to the state before `Create`, but for the remembered buffer size.
    void Destroy();

private:
    bool AllocateIoContext(int (*readProc)(void*, unsigned char*, int), void* opaque);
    void FreeIoContext();

    FfmpegInFormat* m_pInputFormat;
    AVIOContext* m_pIoContext;
    AVFormatContext* m_pFormatContext;
    std::unique_ptr<unsigned char[]> m_pIoBuffer;
    int m_nIoBufferSize;
    bool m_bOpened;
};
