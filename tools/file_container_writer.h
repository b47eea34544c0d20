#pragma once

#include <codrelay/file_muxer.h>

#include <memory>

#include "container_writer.h"
#include "part_file.h"
#include "sound_clock.h"

/// Through the file muxer, whose sound keeps time only as MP3 at 48 or 32 kHz and a constant rate.
class FileContainerWriter : public ContainerWriter {
public:
    explicit FileContainerWriter(const ContainerSetup& setup);

    void Write(MediaPacket& packet) override;
    void Finish() override;

private:
    struct Disposer {
        void operator()(CMuxerFileBase* muxer) const { muxer->Delete(); }
    };

    ContainerSetup m_Setup;
    PartFile m_File;
    std::unique_ptr<CMuxerFileBase, Disposer> m_Muxer;
    SoundClock m_SoundClock;
};
