#pragma once

#include <memory>
#include <string>

#include "codrelay/audio_format.h"
#include "codrelay/media_ids.h"
#include "container_format.h"
#include "media_packet.h"
#include "picture_decoder.h"

/// What a container shall hold, and where.
struct ContainerSetup {
    ContainerFormat format;
    std::string in;
    std::string out;
    /// VIDEO_CODEC_NONE for a container without video.
    int videoCodec = VIDEO_CODEC_NONE;
    PictureSize size;
    /// Pictures a second; 0 where that is not known.
    unsigned int frameRate = 0;
    /// -1 for a container without sound.
    int audioCodec = -1;
    AUDIO_FORMAT sound = {};
    /// Of every MP3 frame. The muxers cut MP3 by a size of their own; it has to be this one.
    int mp3FrameBytes = 0;
    bool onMemory = false;
};

/// Writes packets into a container by one of the library's two muxers. The file stands under its name when `Finish` has
/// returned, and not at all otherwise. Every operation fails by `Failure`.
class ContainerWriter {
public:
    virtual ~ContainerWriter();

    virtual void Write(MediaPacket& packet) = 0;
    virtual void Finish() = 0;
};

/// Writes the header at once. Refuses what the muxer would write wrong.
std::unique_ptr<ContainerWriter> NewContainerWriter(const ContainerSetup& setup);
