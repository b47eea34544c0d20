#include "video_decoder/frame_pool.h"

#include <utility>
#include <vector>

namespace {

constexpr unsigned int kFramesPerSize = 8;

using Buffer = std::shared_ptr<std::vector<unsigned char>>;

}  // namespace

// What the pool and its frames share, so that a frame can come back, or find out that it cannot, after the pool's
// death.
struct ThreadsafeFramePool::Data {
    // With room for every buffer from the start, a frame's destructor never allocates.
    Data() { m_FreeBuffers.reserve(kFramesPerSize); }

    // REQUIRES: the mutex is held.
    void FreeBuffers() {
        while (!m_FreeBuffers.empty()) {
            m_FreeBuffers.pop_back();
        }
    }

    utils::ThreadMutex m_Mutex;
    std::vector<Buffer> m_FreeBuffers;
    bool m_bAlive = true;
    unsigned long long m_nGeneration = 0;
};

// A buffer that is out of the pool.
struct ThreadsafeFramePool::Lease {
    Buffer buffer;
    unsigned long long generation = 0;
};

// Built anew for every hand-out, so that nothing of the earlier user shows but the bytes.
class ThreadsafeFramePool::CPooledFrameBuffer : public CFrameBufferBase {
public:
    explicit CPooledFrameBuffer(std::shared_ptr<Data> data) : m_pPoolData(std::move(data)) {}

    ~CPooledFrameBuffer() override {
        if (m_Lease.buffer != nullptr) {
            GiveBack();
            m_Lease.buffer.reset();
        }
    }

    unsigned char* GetData() override { return m_Lease.buffer->data(); }
    const unsigned char* GetConstData() override { return GetData(); }

    Lease m_Lease;

private:
    void GiveBack() {
        CMutexLocker lock(&m_pPoolData->m_Mutex, true);
        if (m_pPoolData->m_bAlive && m_pPoolData->m_nGeneration == m_Lease.generation) {
            m_pPoolData->m_FreeBuffers.push_back(m_Lease.buffer);
        }
    }

    std::shared_ptr<Data> m_pPoolData;
};

ThreadsafeFramePool::ThreadsafeFramePool() : m_pData(std::make_shared<Data>()) {}

ThreadsafeFramePool::~ThreadsafeFramePool() {
    CMutexLocker lock(&m_pData->m_Mutex, true);
    m_pData->FreeBuffers();
    m_pData->m_bAlive = false;
}

void ThreadsafeFramePool::Init(unsigned int frameSize, CFrameBufferStreamCallback* callback) {
    CMutexLocker lock(&m_pData->m_Mutex, true);
    if (m_nFrameSize != 0) {
        return;
    }
    m_nFramesLeft = kFramesPerSize;
    m_nFrameSize = frameSize;
    m_pCallback = callback;
}

void ThreadsafeFramePool::Clear() {
    CMutexLocker lock(&m_pData->m_Mutex, true);
    m_nFrameSize = 0;
    m_pData->FreeBuffers();
    ++m_pData->m_nGeneration;
    m_nFramesLeft = 0;
    m_pCallback = nullptr;
}

bool ThreadsafeFramePool::GetFrame(std::shared_ptr<CFrameBufferBase>& out) {
    // Before a buffer is taken: where there is no memory for the frame, none is lost.
    std::shared_ptr<CPooledFrameBuffer> frame(new CPooledFrameBuffer(m_pData));
    if (!TakeBuffer(&frame->m_Lease)) {
        return false;
    }
    // Outside the lock: the frame that `out` holds may come back to the pool here.
    out = std::move(frame);
    return true;
}

bool ThreadsafeFramePool::TakeBuffer(Lease* lease) {
    CMutexLocker lock(&m_pData->m_Mutex, true);
    if (m_nFrameSize == 0) {
        return false;
    }
    std::vector<Buffer>& free = m_pData->m_FreeBuffers;
    if (free.empty() && m_nFramesLeft != 0) {
        lease->buffer = std::make_shared<std::vector<unsigned char>>(m_nFrameSize);
        --m_nFramesLeft;
    } else {
        if (!WaitForBuffer(&lock)) {
            return false;
        }
        lease->buffer = std::move(free.back());
        free.pop_back();
    }
    lease->generation = m_pData->m_nGeneration;
    return true;
}

bool ThreadsafeFramePool::WaitForBuffer(CMutexLocker* lock) {
    while (m_pData->m_FreeBuffers.empty()) {
        CFrameBufferStreamCallback* callback = m_pCallback;
        lock->Unlock();
        if (callback == nullptr || !callback->WaitForFreeFrame()) {
            return false;
        }
        lock->Lock();
    }
    return true;
}
