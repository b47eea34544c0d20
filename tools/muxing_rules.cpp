#include "muxing_rules.h"

#include "failure.h"

namespace {

std::string Subject(const ContainerSetup& setup) {
    return setup.out + ": the " + setup.format.name + " muxer ";
}

}  // namespace

MUXER_PARAM MuxerParam(const ContainerSetup& setup, int cuttingRate) {
    MUXER_PARAM param{};
    param.videoCodec = setup.videoCodec;
    param.audioCodec = setup.audioCodec;
    param.width = static_cast<int>(setup.size.width);
    param.height = static_cast<int>(setup.size.height);
    param.sampleRate = setup.sound.sampleRate;
    param.channels = setup.sound.channels;
    param.audioBitRate = cuttingRate;
    return param;
}

void CheckMp3Frame(const ContainerSetup& setup, const MediaPacket& packet) {
    const bool mp3 = setup.audioCodec == AUDIO_CODEC_MP3;
    if (mp3 && packet.bytes.size() != static_cast<std::size_t>(setup.mp3FrameBytes)) {
        throw Failure("the muxers cut mp3 sound into frames of one length, and these differ (" +
                      std::to_string(setup.mp3FrameBytes) + " and " + std::to_string(packet.bytes.size()) +
                      " bytes); transcode makes such sound anew");
    }
}

void FailOnHeader(const ContainerSetup& setup) {
    throw Failure(Subject(setup) + "cannot write its header");
}

void FailOnPacket(const ContainerSetup& setup, const MediaPacket& packet) {
    const char* medium = packet.medium == Medium::Video ? "picture" : "sound";
    throw Failure(Subject(setup) + "cannot write the " + medium + " at " + std::to_string(packet.time) + " ms");
}

void FailOnTrailer(const ContainerSetup& setup) {
    throw Failure(Subject(setup) + "cannot write its trailer");
}
