#include "packet_copier.h"

#include <codrelay/media_ids.h>

#include <utility>

#include "adts.h"
#include "failure.h"

namespace {

/// The pace of a stream without times, 25 a second.
constexpr long long kPaceMs = 40;

/// A start code of MPEG-4 video's layer, which says how its pictures are to be decoded.
bool HasMpeg4Layer(const std::vector<unsigned char>& bytes) {
    for (std::size_t i = 0; i + 3 < bytes.size(); ++i) {
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1 && (bytes[i + 3] & 0xf0) == 0x20) {
            return true;
        }
    }
    return false;
}

}  // namespace

PacketCopier::PacketCopier(const StreamInfo& stream, std::string file) : m_Stream(stream), m_File(std::move(file)) {}

MediaPacket PacketCopier::Copy(const DEMUXER_PACKET& packet) {
    const Medium medium = m_Stream.type == StreamType::Video ? Medium::Video : Medium::Sound;
    MediaPacket copy{medium, {packet.data, packet.data + packet.size}, packet.keyFrame != 0, TimeOf(packet)};
    if (!m_Previous) {
        CheckHeaders(copy);
    }
    if (medium == Medium::Sound && m_Stream.codecId == AUDIO_CODEC_AAC && !FrameAsAdts(copy.bytes, m_Stream.audio)) {
        throw Failure(m_File + ": its aac sound cannot be framed for a container");
    }
    m_Previous = copy.time;
    return copy;
}

/// A decoding time without the other is what FFmpeg has of a stream that may be reordered.
long long PacketCopier::TimeOf(const DEMUXER_PACKET& packet) const {
    const bool timeless = packet.pts == kNoTime && packet.dts == kNoTime;
    if (timeless && m_Stream.type == StreamType::Audio) {
        throw Failure(m_File + ": its sound has no times");
    }
    const long long time = timeless ? m_Previous.value_or(-kPaceMs) + kPaceMs : packet.pts;
    if (m_Stream.type == StreamType::Video && (time == kNoTime || time < m_Previous.value_or(time))) {
        throw Failure(m_File +
                      ": its pictures are reordered, and the muxers write times that only rise; "
                      "transcode makes such video anew");
    }
    return time == kNoTime ? packet.dts : time;
}

void PacketCopier::CheckHeaders(const MediaPacket& packet) const {
    if (m_Stream.type == StreamType::Video && m_Stream.codecId == VIDEO_CODEC_MPEG4 && !HasMpeg4Layer(packet.bytes)) {
        throw Failure(m_File + ": its mpeg4 video keeps its headers out of the packets, so that they would be lost");
    }
}
