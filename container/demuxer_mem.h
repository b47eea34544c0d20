#pragma once

#include <memory>

#include "codrelay/memory_demuxer.h"

/// Stands between the host's bytes and a FfmpegDemuxer on a thread of its own.
class CDemuxerMem : public CDemuxerMemBase {
public:
    CDemuxerMem();
    ~CDemuxerMem() override;
    CDemuxerMem(const CDemuxerMem&) = delete;
    CDemuxerMem& operator=(const CDemuxerMem&) = delete;

    int Create(const char* formatName, CDemuxerMemCallback* callback) override;
    void Destroy() override;
    void Delete() override;
    bool WriteData(unsigned char* data, unsigned int size) override;

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};
