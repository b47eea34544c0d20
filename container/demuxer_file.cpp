#include "container/demuxer_file.h"

#include "container/ffmepg_file_demuxer.h"

CDemuxerFileCallback::~CDemuxerFileCallback() = default;

CDemuxerFileBase::~CDemuxerFileBase() = default;

struct CDemuxerFile::Private {
    FfmepgFileDemuxer m_Demuxer;
    FfmpegAvPacket m_Packet;
    CDemuxerFileCallback* m_pCallback = nullptr;
};

CDemuxerFile::CDemuxerFile() : m_pPrivate(std::make_unique<Private>()) {}

CDemuxerFile::~CDemuxerFile() = default;

bool CDemuxerFile::Open(const char* path, CDemuxerFileCallback* callback) {
    m_pPrivate->m_pCallback = callback;
    return m_pPrivate->m_Demuxer.Open(path);
}

bool CDemuxerFile::IsOpen() {
    return m_pPrivate->m_Demuxer.IsOpen();
}

void CDemuxerFile::Close() {
    m_pPrivate->m_Demuxer.Close();
    m_pPrivate->m_Packet.Release();
}

int CDemuxerFile::ReadNextFrame() {
    if (!m_pPrivate->m_Demuxer.ReadNextFrame(&m_pPrivate->m_Packet)) {
        return 0;
    }
    if (m_pPrivate->m_pCallback != nullptr) {
        DEMUXER_PACKET packet;
        m_pPrivate->m_Packet.GetDemuxerPacket(&packet);
        m_pPrivate->m_pCallback->OnPacket(&packet);
    }
    return 1;
}

int CDemuxerFile::GetStreamCount() {
    return m_pPrivate->m_Demuxer.GetStreamCount();
}

int CDemuxerFile::GetStreamType(int index) {
    return m_pPrivate->m_Demuxer.GetStreamType(index);
}

bool CDemuxerFile::GetVideoStreamInfo(int index, int* codecId) {
    return m_pPrivate->m_Demuxer.GetVideoStreamInfo(index, codecId);
}

bool CDemuxerFile::GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format) {
    return m_pPrivate->m_Demuxer.GetAudioStreamInfo(index, codecId, format);
}
