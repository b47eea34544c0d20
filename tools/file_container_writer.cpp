#include "file_container_writer.h"

#include <codrelay/factories.h>

#include "failure.h"
#include "media_names.h"
#include "muxing_rules.h"

namespace {

int Mp3BitRate(const ContainerSetup& setup) {
    return (setup.mp3FrameBytes * setup.sound.sampleRate + 143) / 144;
}

/// The file muxer advances by whole milliseconds a frame of MP3 and by one tick a block of any other sound.
void CheckThatSoundKeepsTime(const ContainerSetup& setup) {
    if (setup.audioCodec == -1) {
        return;
    }
    const std::string other = setup.format.onMemory ? "; the memory muxer does" : "";
    if (setup.audioCodec != AUDIO_CODEC_MP3) {
        throw Failure("the file muxer does not keep the times of " + AudioCodecName(setup.audioCodec) + " sound in " +
                      setup.format.name + other);
    }
    if (setup.sound.sampleRate != 48000 && setup.sound.sampleRate != 32000) {
        throw Failure("the file muxer keeps mp3 sound in time at 48000 and 32000 Hz only, and this has " +
                      std::to_string(setup.sound.sampleRate));
    }
}

CMuxerFileBase* NewMuxer(const ContainerSetup& setup, const std::string& path) {
    MUXER_PARAM param = MuxerParam(setup, Mp3BitRate(setup));
    return Codrelay_MuxerFile(setup.format.id, &param, path.c_str());
}

ContainerSetup Checked(const ContainerSetup& setup) {
    CheckThatSoundKeepsTime(setup);
    return setup;
}

}  // namespace

FileContainerWriter::FileContainerWriter(const ContainerSetup& setup)
    : m_Setup(Checked(setup)),
      m_File(setup.out, setup.in),
      m_Muxer(NewMuxer(setup, m_File.Path())),
      m_SoundClock(setup.sound.sampleRate) {
    if (!m_Muxer || m_Muxer->WriteHeader() != 1) {
        FailOnHeader(m_Setup);
    }
}

void FileContainerWriter::Write(MediaPacket& packet) {
    const int size = static_cast<int>(packet.bytes.size());
    if (packet.medium == Medium::Sound) {
        CheckMp3Frame(m_Setup, packet);
        m_SoundClock.Check(packet.time);
    }
    const int written = packet.medium == Medium::Video
                            ? m_Muxer->WriteFrame(packet.bytes.data(), size, packet.keyFrame ? 1 : 0, packet.time)
                            : m_Muxer->WriteSound(packet.bytes.data(), size, packet.time);
    if (written != 1) {
        FailOnPacket(m_Setup, packet);
    }
}

void FileContainerWriter::Finish() {
    if (m_Muxer->WriteTrailer() != 1) {
        FailOnTrailer(m_Setup);
    }
    m_File.Keep();
}
