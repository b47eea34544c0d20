#include "container_writer.h"

#include "failure.h"
#include "file_container_writer.h"
#include "media_names.h"
#include "memory_container_writer.h"
#include "muxing_rules.h"

namespace {

constexpr unsigned int kAviRate = 25;
constexpr int kLeastMpeg1Rate = 32000;

/// The file muxer advances by whole milliseconds a frame of MP3 and by one tick a block of any other sound.
void CheckForFile(const ContainerSetup& setup) {
    const std::string name = setup.format.name;
    if (setup.audioCodec == -1) {
        return;
    }
    if (setup.audioCodec != AUDIO_CODEC_MP3) {
        throw Failure("the file muxer does not keep the times of " + AudioCodecName(setup.audioCodec) + " sound in " +
                      name + (setup.format.onMemory ? "; the memory muxer does" : ""));
    }
    if (setup.sound.sampleRate != 48000 && setup.sound.sampleRate != 32000) {
        throw Failure("the file muxer keeps mp3 sound in time at 48000 and 32000 Hz only, and this has " +
                      std::to_string(setup.sound.sampleRate));
    }
}

void CheckForMemory(const ContainerSetup& setup) {
    const std::string name = setup.format.name;
    if (!setup.format.onMemory) {
        const std::string reason =
            setup.audioCodec != -1
                ? "; by the file muxer its " + AudioCodecName(setup.audioCodec) + " sound would not keep its times"
                : "";
        throw Failure(name + " cannot be written without seeking, as the memory muxer does" + reason +
                      "; flv, avi and ts can");
    }
    if (setup.videoCodec == VIDEO_CODEC_NONE) {
        throw Failure("the memory muxer writes no container without video");
    }
}

/// It holds no times, but a rate of pictures, 25 a second, and a rate of blocks of sound.
void CheckForAvi(const ContainerSetup& setup) {
    const int rate = setup.sound.sampleRate;
    if (setup.frameRate > kAviRate) {
        throw Failure("avi is written with at most 25 pictures a second, and this video has " +
                      std::to_string(setup.frameRate) + "; transcode --fps 25 drops some");
    }
    if (setup.audioCodec == AUDIO_CODEC_AAC && rate % kAacRateStep != 0) {
        throw Failure("avi keeps aac sound in time at rates such as 48000 and 32000 Hz only, and this has " +
                      std::to_string(rate));
    }
    if (setup.audioCodec == AUDIO_CODEC_MP3 && rate < kLeastMpeg1Rate) {
        throw Failure("avi keeps mp3 sound in time from 32000 Hz up only, and this has " + std::to_string(rate));
    }
}

}  // namespace

ContainerWriter::~ContainerWriter() = default;

std::unique_ptr<ContainerWriter> NewContainerWriter(const ContainerSetup& setup) {
    CheckCodecs(setup.format, setup.videoCodec, setup.audioCodec);
    if (setup.format.id == MUXER_FORMAT_AVI) {
        CheckForAvi(setup);
    }
    if (setup.onMemory) {
        CheckForMemory(setup);
        return std::make_unique<MemoryContainerWriter>(setup);
    }
    CheckForFile(setup);
    return std::make_unique<FileContainerWriter>(setup);
}
