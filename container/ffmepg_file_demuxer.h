#pragma once

#include <memory>

#include "codrelay/audio_format.h"
#include "container/ffmpeg_av_packet.h"

/// Reads a container file, brings the first H.264 stream into Annex B form and all times into milliseconds. Belongs to
/// one thread.
class FfmepgFileDemuxer {
public:
    FfmepgFileDemuxer();
    ~FfmepgFileDemuxer();

    /// False, with a line at Error and the demuxer closed, if the file cannot be opened. Closes what was open before.
    bool Open(const char* path);
    bool IsOpen();
    void Close();

    /// False at the end, on a read error, and, with a line at Error, for a packet that the filter refuses.
    bool ReadNextFrame(FfmpegAvPacket* packet);

    int GetStreamCount();
    /// 1 for video, 2 for audio, 0 for anything else.
    int GetStreamType(int index);
    /// False, and nothing stored, if the stream is not video.
    bool GetVideoStreamInfo(int index, int* codecId);
    /// False, and nothing stored, if the stream is not audio.
    bool GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format);

private:
    struct Private;

    bool OpenStreams(const char* path);
    bool CreateFilter();
    bool FilterPacket(FfmpegAvPacket* packet);

    std::unique_ptr<Private> m_pPrivate;
};
