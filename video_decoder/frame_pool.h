#pragma once

#include <memory>

#include "codrelay/frame_buffer.h"

/// A bounded recycling store of picture buffers. Frames may come back on any thread, also after the pool is gone.
class ThreadsafeFramePool {
public:
    class CPooledFrameBuffer;

    ThreadsafeFramePool();
    ~ThreadsafeFramePool();
    ThreadsafeFramePool(const ThreadsafeFramePool&) = delete;
    ThreadsafeFramePool& operator=(const ThreadsafeFramePool&) = delete;

    /// Arms an idle pool for frames of `frameSize` bytes; nothing happens on a serving one. `callback` may be null and
    /// is not owned.
    void Init(unsigned int frameSize, CFrameBufferStreamCallback* callback);
    /// Makes the pool idle. Frames that are out stay valid; their bytes do not come back.
    void Clear();
    /// Puts a frame into `out`, or leaves it alone and returns false. Asks the callback while no buffer is free.
    bool GetFrame(std::shared_ptr<CFrameBufferBase>& out);

private:
    friend class CVideoDecoder;
    struct Data;

    std::shared_ptr<Data> m_pData;
    unsigned int m_nFramesLeft = 0;
    unsigned int m_nFrameSize = 0;
    CFrameBufferStreamCallback* m_pCallback = nullptr;
};
