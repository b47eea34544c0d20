#include "file_container_writer.h"

#include <codrelay/factories.h>

#include "muxing_rules.h"

namespace {

/// Rounded up, so that the muxer's division gives the length again.
int Mp3BitRate(const ContainerSetup& setup) {
    return (setup.mp3FrameBytes * setup.sound.sampleRate + 143) / 144;
}

CMuxerFileBase* NewMuxer(const ContainerSetup& setup, const std::string& path) {
    MUXER_PARAM param = MuxerParam(setup, Mp3BitRate(setup));
    return Codrelay_MuxerFile(setup.format.id, &param, path.c_str());
}

}  // namespace

FileContainerWriter::FileContainerWriter(const ContainerSetup& setup)
    : m_Setup(setup),
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
