#pragma once

#include <memory>

#include "codrelay/frame_buffer.h"
#include "codrelay/utils/threads.h"

/// A bounded recycling store of picture buffers. One thread takes frames; they may come back on any thread, also after
/// the pool is gone.
class ThreadsafeFramePool {
public:
    ThreadsafeFramePool();
    /// Frees the buffers that no frame holds. Those that are out stay valid and go with their frames.
    ~ThreadsafeFramePool();
    ThreadsafeFramePool(const ThreadsafeFramePool&) = delete;
    ThreadsafeFramePool& operator=(const ThreadsafeFramePool&) = delete;

    /// Arms an idle pool for frames of `frameSize` bytes; nothing happens on a serving one, and a size of 0 leaves it
    /// idle. `callback` may be null and is not owned.
    void Init(unsigned int frameSize, CFrameBufferStreamCallback* callback);
    /// Makes the pool idle. Frames that are out stay valid; their bytes do not come back.
    void Clear();
    /// Puts a frame into `out`, or leaves that alone and returns false. Asks the callback while no buffer is free.
    bool GetFrame(std::shared_ptr<CFrameBufferBase>& out);

    /// Bytes per frame, 0 while idle. For the thread that takes the frames.
    unsigned int FrameSize() const { return m_nFrameSize; }

private:
    class CPooledFrameBuffer;
    struct Data;
    struct Lease;

    /// Finds or makes a free buffer, asking the callback if need be. False if there is none to be had.
    bool TakeBuffer(Lease* lease);
    /// Until a buffer is free, asks the callback with the lock open. On true the lock is held.
    bool WaitForBuffer(CMutexLocker* lock);

    std::shared_ptr<Data> m_pData;
    // The rest is guarded by the mutex in the data.
    unsigned int m_nFramesLeft = 0;
    unsigned int m_nFrameSize = 0;
    CFrameBufferStreamCallback* m_pCallback = nullptr;
};
