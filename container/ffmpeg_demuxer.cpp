#include "container/ffmpeg_demuxer.h"

#include <new>

#include "container/stream_query.h"
#include "front/registry/ffmpeg_registry.h"
#include "support/log_front.h"

FfmpegDemuxer::FfmpegDemuxer()
    : m_pInputFormat(nullptr),
      m_pIoContext(nullptr),
      m_pFormatContext(nullptr),
      m_nIoBufferSize(-1),
      m_bOpened(false) {}

FfmpegDemuxer::~FfmpegDemuxer() {
    try {
        FFMPEG_LOG(Trace) << "FfmpegDemuxer::~FfmpegDemuxer(): this=" << this;
    } catch (const std::bad_alloc&) {
        // No memory for the line; a destructor has nobody to tell.
    }
    Destroy();
}

bool FfmpegDemuxer::Create(const char* formatName, int bufferSize) {
    Destroy();
    m_pInputFormat = GetMainFfmpegCodecLib()->FindInFormat(formatName);
    if (m_pInputFormat == nullptr) {
        FFMPEG_LOG(Error) << "FfmpegDemuxer::Create: FindInFormat(" << TextOrNothing(formatName) << ") FAILED!";
        return false;
    }
    m_nIoBufferSize = bufferSize;
    // A negative size becomes one that cannot be had.
    m_pIoBuffer.reset(new unsigned char[static_cast<std::size_t>(bufferSize)]);
    // The line bears the name of the class that hosts know.
    FFMPEG_LOG(Trace) << "CDemuxerMem::Create: success!";
    return true;
}

bool FfmpegDemuxer::Open(int (*readProc)(void*, unsigned char*, int), void* opaque) {
    Close();
    m_pFormatContext = avformat_alloc_context();
    if (m_pFormatContext == nullptr) {
        FFMPEG_LOG(Critical) << "FfmpegDemuxer::Open: avformat_alloc_context() FAILED!";
        return false;
    }
    if (m_pIoBuffer == nullptr) {
        FFMPEG_LOG(Critical) << "FfmpegDemuxer::Open: av_malloc(" << m_nIoBufferSize << ") FAILED!";
        return false;
    }
    if (!AllocateIoContext(readProc, opaque)) {
        FFMPEG_LOG(Critical) << "FfmpegDemuxer::Open: avio_alloc_context() FAILED!";
        return false;
    }
    m_pFormatContext->flags |= AVFMT_FLAG_CUSTOM_IO;
    m_pFormatContext->pb = m_pIoContext;
    if (OpenInput(&m_pFormatContext, "", m_pInputFormat) < 0) {
        FFMPEG_LOG(Critical) << "FfmpegDemuxer::Open: avformat_open_input() FAILED!";
        return false;
    }
    m_bOpened = true;
    return true;
}

// libavformat frees the buffer of an I/O context with av_free and puts another in its place while it opens the input,
// so it gets one of its own, not m_pIoBuffer.
bool FfmpegDemuxer::AllocateIoContext(int (*readProc)(void*, unsigned char*, int), void* opaque) {
    void* buffer = av_malloc(static_cast<std::size_t>(m_nIoBufferSize));
    if (buffer == nullptr) {
        return false;
    }
    m_pIoContext =
        avio_alloc_context(static_cast<unsigned char*>(buffer), m_nIoBufferSize, 0, opaque, readProc, nullptr, nullptr);
    if (m_pIoContext == nullptr) {
        av_free(buffer);
        return false;
    }
    return true;
}

void FfmpegDemuxer::FreeIoContext() {
    if (m_pIoContext != nullptr) {
        av_freep(&m_pIoContext->buffer);
        av_free(m_pIoContext);
        m_pIoContext = nullptr;
    }
}

bool FfmpegDemuxer::ReadNextFrame(FfmpegAvPacket* packet) {
    packet->Release();
    if (m_pFormatContext == nullptr || av_read_frame(m_pFormatContext, packet->GetAvPacket()) < 0) {
        return false;
    }
    packet->SetValid(true);
    return true;
}

int FfmpegDemuxer::GetStreamCount() {
    return StreamCount(m_pFormatContext);
}

int FfmpegDemuxer::GetStreamType(int index) {
    return StreamType(m_pFormatContext, index);
}

bool FfmpegDemuxer::GetVideoStreamInfo(int index, int* codecId) {
    return VideoStreamInfo(m_pFormatContext, index, codecId);
}

bool FfmpegDemuxer::GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format) {
    if (!AudioStreamInfo(m_pFormatContext, index, codecId, format)) {
        return false;
    }
    if (SampleFormatOf(StreamCodec(m_pFormatContext, index)) == AV_SAMPLE_FMT_NONE) {
        format->sampleFormat = AUDIO_SAMPLE_S16;
    }
    return true;
}

void FfmpegDemuxer::Close() {
    if (m_pFormatContext != nullptr) {
        avformat_close_input(&m_pFormatContext);
        m_bOpened = false;
    }
    FreeIoContext();
}

void FfmpegDemuxer::Destroy() {
    Close();
    m_pIoBuffer.reset();
    m_pInputFormat = nullptr;
}
