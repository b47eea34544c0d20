#include "muxing_rules.h"

#include "failure.h"

namespace {

std::string Subject(const ContainerSetup& setup) {
    return setup.out + ": the " + setup.format.name + " muxer ";
}

/// What is no MP3 has a bit rate for AVI's sake alone.
int BitRateOfSound(const ContainerSetup& setup, int mp3BitRate) {
    const int samples = setup.sound.sampleRate * setup.sound.channels;
    switch (setup.audioCodec) {
        case AUDIO_CODEC_MP3:
            return mp3BitRate;
        case AUDIO_CODEC_AAC:
            return setup.sound.sampleRate / kAacRateStep;
        case AUDIO_CODEC_PCM_S16LE:
            return samples * 16;
        case AUDIO_CODEC_MULAW:
        case AUDIO_CODEC_ALAW:
            return samples * 8;
        default:
            return 0;
    }
}

}  // namespace

MUXER_PARAM MuxerParam(const ContainerSetup& setup, int mp3BitRate) {
    MUXER_PARAM param{};
    param.videoCodec = setup.videoCodec;
    param.audioCodec = setup.audioCodec;
    param.width = static_cast<int>(setup.size.width);
    param.height = static_cast<int>(setup.size.height);
    param.sampleRate = setup.sound.sampleRate;
    param.channels = setup.sound.channels;
    param.audioBitRate = BitRateOfSound(setup, mp3BitRate);
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
    throw Failure(Subject(setup) + "cannot write its header (--log error shows why)");
}

void FailOnPacket(const ContainerSetup& setup, const MediaPacket& packet) {
    const char* medium = packet.medium == Medium::Video ? "picture" : "sound";
    throw Failure(Subject(setup) + "cannot write the " + medium + " at " + std::to_string(packet.time) + " ms");
}

void FailOnTrailer(const ContainerSetup& setup) {
    throw Failure(Subject(setup) + "cannot write its trailer");
}
