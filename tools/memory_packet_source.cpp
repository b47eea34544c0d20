#include "memory_packet_source.h"

#include <codrelay/factories.h>
#include <codrelay/media_ids.h>

#include <utility>

#include "failure.h"

MemoryPacketSource::MemoryPacketSource(LibrarySession& session, const std::string& format, const std::string& input,
                                       Takers takers)
    : m_Format(format),
      m_Input(input),
      m_Takers(std::move(takers)),
      m_Filler(format),
      m_Listening(session, [this](const uvqlog::LogEvent& event) {
          if (event.text.rfind("DemuxerThreadProc: ", 0) == 0) {
              m_LastLine = event.text;
          }
      }) {
    if (format == "wav" || format == "asf") {
        m_Demuxer.reset(Codrelay_DemuxerMem(format == "wav" ? DEMUXER_FORMAT_WAV : DEMUXER_FORMAT_ASF, this));
    } else {
        StartOther(session, format);
    }
    if (!m_Demuxer) {
        throw Failure("no memory demuxer can be started");
    }
}

MemoryPacketSource::~MemoryPacketSource() = default;

/// The factory knows two formats. A demuxer of one of them is started anew for another; what it says of its early end
/// is nobody's concern.
void MemoryPacketSource::StartOther(LibrarySession& session, const std::string& longName) {
    {
        const ScopedMute mute(session);
        m_Demuxer.reset(Codrelay_DemuxerMem(DEMUXER_FORMAT_WAV, this));
        if (m_Demuxer) {
            m_Demuxer->Destroy();
        }
    }
    if (m_Demuxer && m_Demuxer->Create(longName.c_str(), this) == 0) {
        m_Demuxer.reset();
    }
}

void MemoryPacketSource::Expect(std::uint64_t bytes) {
    std::vector<unsigned char> lead = m_Filler.MakeLead(bytes);
    m_Demuxer->WriteData(lead.data(), static_cast<unsigned int>(lead.size()));
}

bool MemoryPacketSource::Push(unsigned char* data, std::size_t size) {
    m_Filler.NoteData(data, size);
    return m_Demuxer->WriteData(data, static_cast<unsigned int>(size));
}

/// Bytes that the reader has not taken are lost when the demuxer goes. That the filler is stored, or refused because
/// the container has come to its end, shows that it has taken them.
void MemoryPacketSource::Finish() {
    std::vector<unsigned char>& filler = m_Filler.Make();
    m_Demuxer->WriteData(filler.data(), static_cast<unsigned int>(filler.size()));
    m_Demuxer.reset();
    if (m_Thrown) {
        std::rethrow_exception(m_Thrown);
    }
    CheckThatStreamsCame();
}

void MemoryPacketSource::CheckThatStreamsCame() const {
    if (m_HasStreams) {
        return;
    }
    if (m_LastLine == "DemuxerThreadProc: FAILED to create ffmpeg demuxer!") {
        throw Failure(m_Format + ": is not the long name of a demuxer, such as \"WAV format\"");
    }
    if (m_LastLine == "DemuxerThreadProc: FAILED to open demuxer stream!") {
        throw Failure(m_Input + ": cannot be opened as " + m_Format + ", or it is damaged");
    }
    throw Failure(m_Input + ": shows no video and no audio when it is opened as " + m_Format);
}

int MemoryPacketSource::OnVideoStream(int streamIndex, int codecId) {
    return Guarded([&] { TakeStream({streamIndex, StreamType::Video, codecId, {}}); });
}

int MemoryPacketSource::OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) {
    return Guarded([&] { TakeStream({streamIndex, StreamType::Audio, codecId, *format}); });
}

void MemoryPacketSource::TakeStream(const StreamInfo& stream) {
    m_HasStreams = true;
    m_Takers.stream(stream);
}

int MemoryPacketSource::OnPacket(DEMUXER_PACKET* packet) {
    return Guarded([&] {
        DEMUXER_PACKET data = *packet;
        data.size = m_Filler.DataBytes(*packet);
        if (data.size != 0 || packet->size == 0) {
            m_Takers.packet(data);
        }
    });
}

/// What a taker throws travels round the library, not through it; after the first nothing more is taken.
template <typename Call>
int MemoryPacketSource::Guarded(Call call) {
    if (!m_Thrown) {
        try {
            call();
        } catch (...) {
            m_Thrown = std::current_exception();
        }
    }
    return 0;
}
