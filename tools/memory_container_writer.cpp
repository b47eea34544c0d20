#include "memory_container_writer.h"

#include <codrelay/factories.h>

#include "muxing_rules.h"

namespace {

/// This muxer has the two rates the other way round: 144 * sample rate / bit rate is the length of a frame.
int Mp3BitRate(const ContainerSetup& setup) {
    return setup.mp3FrameBytes > 0 ? setup.sound.sampleRate * 144 / setup.mp3FrameBytes : 0;
}

CMuxerMemBase* NewMuxer(const ContainerSetup& setup) {
    MUXER_PARAM param = MuxerParam(setup, Mp3BitRate(setup));
    return Codrelay_MuxerMem(setup.format.id, &param);
}

}  // namespace

MemoryContainerWriter::MemoryContainerWriter(const ContainerSetup& setup)
    : m_Setup(setup), m_File(setup.out, setup.in), m_Bytes(m_File.Path(), setup.in), m_Muxer(NewMuxer(setup)) {
    if (!m_Muxer || !WritePiece([this] { return m_Muxer->WriteHeader(); })) {
        FailOnHeader(m_Setup);
    }
}

void MemoryContainerWriter::Write(MediaPacket& packet) {
    const int size = static_cast<int>(packet.bytes.size());
    const bool sound = packet.medium == Medium::Sound;
    if (sound) {
        CheckMp3Frame(m_Setup, packet);
    }
    const bool written = WritePiece([&] {
        return sound ? m_Muxer->WriteSound(packet.bytes.data(), size, packet.time)
                     : m_Muxer->WriteFrame(packet.bytes.data(), size, packet.keyFrame ? 1 : 0, packet.time);
    });
    if (!written) {
        FailOnPacket(m_Setup, packet);
    }
}

void MemoryContainerWriter::Finish() {
    if (!WritePiece([this] { return m_Muxer->WriteTrailer(); })) {
        FailOnTrailer(m_Setup);
    }
    m_Bytes.Finish();
    m_File.Keep();
}

bool MemoryContainerWriter::WritePiece(const std::function<int()>& write) {
    if (m_Muxer->BeginWriteBuf() != 1) {
        return false;
    }
    const bool written = write() == 1;
    unsigned char* piece = nullptr;
    const int size = m_Muxer->GetWriteBuf(piece);
    const auto release = [this](unsigned char* bytes) { m_Muxer->FreeWriteBuf(bytes); };
    const std::unique_ptr<unsigned char, decltype(release)> owned(piece, release);
    if (size > 0) {
        m_Bytes.Write(piece, static_cast<std::size_t>(size));
    }
    return written;
}
