#pragma once

#include <codrelay/memory_muxer.h>

#include <functional>
#include <memory>

#include "container_writer.h"
#include "files.h"
#include "part_file.h"

/// Through the memory muxer, whose pieces go to the file one after the other.
class MemoryContainerWriter : public ContainerWriter {
public:
    explicit MemoryContainerWriter(const ContainerSetup& setup);

    void Write(MediaPacket& packet) override;
    void Finish() override;

private:
    struct Disposer {
        void operator()(CMuxerMemBase* muxer) const { muxer->Delete(); }
    };

    /// One write between opening the buffer and taking it away.
    bool WritePiece(const std::function<int()>& write);

    ContainerSetup m_Setup;
    PartFile m_File;
    OutputFile m_Bytes;
    std::unique_ptr<CMuxerMemBase, Disposer> m_Muxer;
};
