#pragma once

#include <memory>

#include "codrelay/file_demuxer.h"

/// The file demuxer that hosts get: a reader, its current packet and the host's callback.
class CDemuxerFile : public CDemuxerFileBase {
public:
    CDemuxerFile();
    ~CDemuxerFile() override;

    bool Open(const char* path, CDemuxerFileCallback* callback) override;
    bool IsOpen() override;
    void Close() override;
    int ReadNextFrame() override;
    int GetStreamCount() override;
    int GetStreamType(int index) override;
    bool GetVideoStreamInfo(int index, int* codecId) override;
    bool GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format) override;

private:
    struct Private;

    std::unique_ptr<Private> m_pPrivate;
};
