#include "container_writer.h"

#include "failure.h"
#include "file_container_writer.h"
#include "media_names.h"
#include "memory_container_writer.h"

namespace {

constexpr unsigned int kAviRate = 25;

void CheckForMemory(const ContainerSetup& setup) {
    if (!setup.format.onMemory) {
        throw Failure(std::string(setup.format.name) +
                      " cannot be written without seeking, as the memory muxer does; flv, avi and ts can");
    }
    if (setup.videoCodec == VIDEO_CODEC_NONE) {
        throw Failure("the memory muxer writes no container without video");
    }
}

/// Its clock has 25 ticks a second, and every picture takes one of its own.
void CheckForAvi(const ContainerSetup& setup) {
    if (setup.format.id == MUXER_FORMAT_AVI && setup.frameRate > kAviRate) {
        throw Failure("avi is written with at most 25 pictures a second, and this video has " +
                      std::to_string(setup.frameRate) + "; transcode --fps 25 drops some");
    }
}

}  // namespace

ContainerWriter::~ContainerWriter() = default;

std::unique_ptr<ContainerWriter> NewContainerWriter(const ContainerSetup& setup) {
    CheckCodecs(setup.format, setup.videoCodec, setup.audioCodec);
    CheckForAvi(setup);
    if (setup.onMemory) {
        CheckForMemory(setup);
        return std::make_unique<MemoryContainerWriter>(setup);
    }
    return std::make_unique<FileContainerWriter>(setup);
}
