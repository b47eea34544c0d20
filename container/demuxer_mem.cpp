#include "container/demuxer_mem.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <type_traits>

#include "codrelay/utils/threads.h"
#include "container/ffmpeg_av_packet.h"
#include "container/ffmpeg_demuxer.h"
#include "support/log_front.h"

namespace {

/// A byte buffer for one writer and one reader. Linear, not a ring: both positions go back to the start only when the
/// end was reached and the reader has caught up. Each side resets its own condition under the mutex before it looks,
/// the other signals after the change that is waited for, and the latch keeps a signal that comes before the wait: no
/// wake-up is lost. Bytes are copied outside the mutex, each side's in a span that is its own until it moves its
/// position: neither side waits for the other's copy, and a signal goes out only where somebody may wait for it.
class SRSWBuffer {
public:
    static constexpr int kCapacity = 0x80000;

    SRSWBuffer() : m_pBegin(new unsigned char[kCapacity]), m_pEnd(m_pBegin.get() + kCapacity) {
        m_pRead = m_pWrite = m_pBegin.get();
    }

    /// A read procedure for libavformat. At least one byte, 0 if none is asked for, or -1 once closed, whatever may
    /// still be unread.
    static int Read(void* opaque, unsigned char* out, int size) {
        return static_cast<SRSWBuffer*>(opaque)->Take(out, size);
    }

    /// True if all bytes went in, false if the buffer was closed before.
    bool Write(const unsigned char* data, unsigned int size);

    /// Ends both sides for good.
    void Close();

private:
    /// A lap takes the two sides to its end together, where each waits for the other's next step. That comes within
    /// microseconds where bytes are pushed as fast as they go, sooner than a sleeper can be woken: so look a while,
    /// once a lap, before going to sleep. Measured: a fifth less time for a quarter of a gigabyte.
    static constexpr int kLooksAtTheTurn = 5000;

    int Take(unsigned char* out, int size);
    void AwaitData(CMutexLocker* locker);
    bool AwaitSpace(CMutexLocker* locker);
    template <typename Step>
    bool ComesSoon(const Step& step);

    utils::ThreadMutex m_WriterMutex;  // one writer at a time
    utils::ThreadMutex m_Mutex;        // guards the positions and m_bClosed
    CConditionWait m_DataReady;
    CConditionWait m_SpaceFree;
    std::unique_ptr<unsigned char[]> m_pBegin;
    unsigned char* m_pEnd;
    unsigned char* m_pRead;
    unsigned char* m_pWrite;
    bool m_bClosed = false;
};

int SRSWBuffer::Take(unsigned char* out, int size) {
    CMutexLocker locker(&m_Mutex, true);
    if (m_bClosed) {
        return -1;
    }
    if (size == 0) {
        return 0;
    }
    for (;;) {
        m_DataReady.Reset();
        if (m_pRead != m_pWrite) {
            break;
        }
        AwaitData(&locker);
        if (m_bClosed) {
            return -1;
        }
    }
    const auto count = std::min<std::ptrdiff_t>(size, m_pWrite - m_pRead);
    locker.Unlock();
    std::memcpy(out, m_pRead, static_cast<std::size_t>(count));
    locker.Lock();
    m_pRead += count;
    if (m_pRead == m_pEnd) {  // else a writer that waits would have to wait on
        m_SpaceFree.Signal();
    }
    return static_cast<int>(count);
}

bool SRSWBuffer::Write(const unsigned char* data, unsigned int size) {
    if (size == 0) {
        return true;
    }
    const CMutexLocker writerLocker(&m_WriterMutex, true);
    const unsigned char* current = data;
    const unsigned char* const last = data + size;
    while (current != last) {
        CMutexLocker locker(&m_Mutex, true);
        if (m_bClosed || !AwaitSpace(&locker)) {
            return false;
        }
        const auto count = std::min(last - current, m_pEnd - m_pWrite);
        locker.Unlock();
        std::memcpy(m_pWrite, current, static_cast<std::size_t>(count));
        locker.Lock();
        const bool wasEmpty = m_pRead == m_pWrite;
        m_pWrite += count;
        current += count;
        locker.Unlock();
        if (wasEmpty) {  // else the reader does not wait
            m_DataReady.Signal();
        }
    }
    return true;
}

// In the middle of a lap the next bytes come when the host has them, which nobody can foresee.
void SRSWBuffer::AwaitData(CMutexLocker* locker) {
    const bool atTheTurn = m_pRead == m_pBegin.get() || m_pRead == m_pEnd;
    locker->Unlock();
    if (!atTheTurn || !ComesSoon([this] { return m_pRead != m_pWrite; })) {
        m_DataReady.Wait();
    }
    locker->Lock();
}

bool SRSWBuffer::AwaitSpace(CMutexLocker* locker) {
    for (;;) {
        m_SpaceFree.Reset();
        if (m_pWrite == m_pEnd && m_pRead == m_pEnd) {
            m_pRead = m_pWrite = m_pBegin.get();
        }
        if (m_pWrite != m_pEnd) {
            return true;
        }
        locker->Unlock();
        if (!ComesSoon([this] { return m_pRead == m_pEnd; })) {
            m_SpaceFree.Wait();
        }
        locker->Lock();
        if (m_bClosed) {
            return false;
        }
    }
}

template <typename Step>
bool SRSWBuffer::ComesSoon(const Step& step) {
    for (int look = 0; look < kLooksAtTheTurn; ++look) {
        const CMutexLocker locker(&m_Mutex, true);
        if (m_bClosed || step()) {
            return true;
        }
    }
    return false;
}

void SRSWBuffer::Close() {
    CMutexLocker locker(&m_Mutex, true);
    m_bClosed = true;
    m_DataReady.Signal();
    m_SpaceFree.Signal();
}

/// What the reader thread runs on.
class DemuxerThreadProc {
public:
    DemuxerThreadProc(const char* formatName, SRSWBuffer* buffer, CDemuxerMemCallback* callback)
        : m_FormatName(TextOrNothing(formatName)), m_pBuffer(buffer), m_pCallback(callback) {}

    /// The thread's body.
    static unsigned int Run(void* self);

private:
    void Demux();
    void TellStreams(FfmpegDemuxer* demuxer);
    void PassPackets(FfmpegDemuxer* demuxer);

    std::string m_FormatName;
    SRSWBuffer* m_pBuffer;
    CDemuxerMemCallback* m_pCallback;
};

/// Closes a buffer on every way out, so that the host's WriteData never hangs on a thread that has gone.
struct BufferCloser {
    SRSWBuffer* buffer;
    ~BufferCloser() { buffer->Close(); }
};

// A step that an exception leaves has failed, whether memory has run out or a callback of the host's throws: nobody
// above could catch it. Only what ends the thread itself, pthread_exit in a callback, must go on. A step without a
// result fails in no other way.
template <typename Step>
bool Succeeds(const Step& step) {
    try {
        if constexpr (std::is_void_v<decltype(step())>) {
            step();
            return true;
        } else {
            return step();
        }
    } catch (...) {
        if (std::current_exception() == nullptr) {
            throw;  // no exception of C++, but the end of the thread
        }
        return false;
    }
}

unsigned int DemuxerThreadProc::Run(void* self) {
    auto* proc = static_cast<DemuxerThreadProc*>(self);
    const BufferCloser closer{proc->m_pBuffer};
    // Where it fails there is no memory for the line that would tell.
    static_cast<void>(Succeeds([proc] { proc->Demux(); }));
    return 0;
}

void DemuxerThreadProc::Demux() {
    FfmpegDemuxer demuxer;
    if (!Succeeds([&] { return demuxer.Create(m_FormatName.c_str(), SRSWBuffer::kCapacity); })) {
        FFMPEG_LOG(Critical) << "DemuxerThreadProc: FAILED to create ffmpeg demuxer!";
        return;
    }
    if (!Succeeds([&] { return demuxer.Open(SRSWBuffer::Read, m_pBuffer); })) {
        FFMPEG_LOG(Critical) << "DemuxerThreadProc: FAILED to open demuxer stream!";
        return;
    }
    if (demuxer.GetStreamCount() == 0) {
        FFMPEG_LOG(Error) << "DemuxerThreadProc: empty container!";
        return;
    }
    if (!Succeeds([&] { TellStreams(&demuxer); })) {
        FFMPEG_LOG(Critical) << "DemuxerThreadProc: FAILED to tell streams!";
        return;
    }
    if (!Succeeds([&] { PassPackets(&demuxer); })) {
        FFMPEG_LOG(Critical) << "DemuxerThreadProc: FAILED to pass packet!";
    }
    // The normal end of a stream and a deliberate Destroy come here too.
    FFMPEG_LOG(Critical) << "DemuxerThreadProc: FAILED to read next frame!";
}

void DemuxerThreadProc::TellStreams(FfmpegDemuxer* demuxer) {
    for (int index = 0; index < demuxer->GetStreamCount(); ++index) {
        int codecId = 0;
        if (demuxer->GetVideoStreamInfo(index, &codecId)) {
            m_pCallback->OnVideoStream(index, codecId);
            continue;
        }
        AUDIO_FORMAT format{};
        if (demuxer->GetAudioStreamInfo(index, &codecId, &format)) {
            m_pCallback->OnAudioStream(index, codecId, &format);
        }
    }
}

void DemuxerThreadProc::PassPackets(FfmpegDemuxer* demuxer) {
    for (;;) {
        FfmpegAvPacket packet;
        if (!demuxer->ReadNextFrame(&packet)) {
            return;
        }
        DEMUXER_PACKET described{};
        packet.GetDemuxerPacket(&described);
        m_pCallback->OnPacket(&described);
    }
}

}  // namespace

// The thread goes first: where it still runs, it is waited for while its buffer is alive.
struct CDemuxerMem::Impl {
    // WriteData may run while Destroy drops the buffer on another thread, so both go through the atomic functions.
    std::shared_ptr<SRSWBuffer> m_pBuffer;
    std::shared_ptr<DemuxerThreadProc> m_pThreadProc;
    CThread m_Thread;
};

CDemuxerMemCallback::~CDemuxerMemCallback() = default;

CDemuxerMemBase::~CDemuxerMemBase() = default;

CDemuxerMem::CDemuxerMem() : m_pImpl(std::make_unique<Impl>()) {}

CDemuxerMem::~CDemuxerMem() {
    if (m_pImpl->m_pBuffer != nullptr) {
        m_pImpl->m_pBuffer->Close();
    }
}

int CDemuxerMem::Create(const char* formatName, CDemuxerMemCallback* callback) {
    Destroy();
    const auto buffer = std::make_shared<SRSWBuffer>();
    m_pImpl->m_pThreadProc = std::make_shared<DemuxerThreadProc>(formatName, buffer.get(), callback);
    // Late, so that nobody can write into a buffer that no thread will ever read.
    std::atomic_store(&m_pImpl->m_pBuffer, buffer);
    try {
        if (m_pImpl->m_Thread.CreateThread(DemuxerThreadProc::Run, m_pImpl->m_pThreadProc.get()) == 0) {
            FFMPEG_LOG(Critical) << "CDemuxerMem::Create(): FAILED to create decoder thread!";
            return 0;
        }
    } catch (const std::bad_alloc&) {
        buffer->Close();  // a WriteData that has it already must not wait for ever
        std::atomic_store(&m_pImpl->m_pBuffer, std::shared_ptr<SRSWBuffer>());
        throw;
    }
    return 1;
}

void CDemuxerMem::Destroy() {
    if (m_pImpl->m_pBuffer != nullptr) {
        m_pImpl->m_pBuffer->Close();
    }
    m_pImpl->m_Thread.WaitThread();
    m_pImpl->m_pThreadProc.reset();
    std::atomic_store(&m_pImpl->m_pBuffer, std::shared_ptr<SRSWBuffer>());
}

void CDemuxerMem::Delete() {
    Destroy();
    delete this;
}

// The buffer is held for the length of the call and the object is not touched again: a Delete on another thread wakes a
// writer that blocks, and may be done before it returns.
bool CDemuxerMem::WriteData(unsigned char* data, unsigned int size) {
    const std::shared_ptr<SRSWBuffer> buffer = std::atomic_load(&m_pImpl->m_pBuffer);
    return buffer != nullptr && buffer->Write(data, size);
}

int ReadDataProc(void* path, unsigned char* buffer, int size) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(static_cast<const char*>(path), "rb"),
                                                               std::fclose);
    if (file == nullptr) {
        return -1;
    }
    return static_cast<int>(std::fread(buffer, 1, static_cast<std::size_t>(std::max(size, 0)), file.get()));
}
