#include "end_filler.h"

#include <algorithm>
#include <random>

namespace {

/// Of the memory demuxer.
constexpr std::size_t kBufferBytes = 524288;
/// So many bytes of the marks stand nowhere else.
constexpr std::size_t kMark = 16;
/// Marks are of these bytes alone. No container begins or ends anything with them: they are no text, no start code, no
/// sync word, no ASF packet.
constexpr unsigned char kFirstMark = 0x90;
constexpr unsigned char kLastMark = 0xbf;

constexpr std::size_t kTransportPacket = 188;
constexpr unsigned char kNullPacketHead[] = {0x47, 0x1f, 0xff, 0x10};
constexpr unsigned char kStuffing = 0xff;

std::size_t BytesToEndOfLap(std::uint64_t total) {
    return (kBufferBytes - total % kBufferBytes) % kBufferBytes;
}

bool IsMark(unsigned char byte) {
    return byte >= kFirstMark && byte <= kLastMark;
}

}  // namespace

EndFiller::EndFiller(const std::string& formatName)
    : m_IsTransportStream(formatName == "MPEG-TS (MPEG-2 Transport Stream)"),
      m_IsAsf(formatName == "asf" || formatName == "ASF format") {}

/// An ID3v2 tag with nothing in it: FFmpeg skips one ahead of any container. Its length is told in four times 7 bits.
std::vector<unsigned char> EndFiller::MakeLead(std::uint64_t dataBytes) {
    if (!m_IsAsf) {
        return {};
    }
    std::vector<unsigned char> tag = {'I', 'D', '3', 4, 0, 0, 0, 0, 0, 0};
    const std::size_t body = BytesToEndOfLap(dataBytes + tag.size());
    for (std::size_t byte = 0; byte < 4; ++byte) {
        tag[6 + byte] = static_cast<unsigned char>(body >> (7 * (3 - byte)) & 0x7fU);
    }
    tag.resize(tag.size() + body);
    m_Total += tag.size();
    return tag;
}

void EndFiller::NoteData(const unsigned char* data, std::size_t size) {
    m_Total += size;
    m_Tail.insert(m_Tail.end(), data + size - std::min(size, kMark), data + size);
    m_Tail.erase(m_Tail.begin(), m_Tail.end() - static_cast<std::ptrdiff_t>(std::min(m_Tail.size(), kMark)));
}

std::vector<unsigned char>& EndFiller::Make() {
    const std::size_t size = BytesToEndOfLap(m_Total) + 1;
    m_Filler = m_IsTransportStream ? MakeNullPackets(size) : MakeMarks(size);
    m_IsMade = true;
    return m_Filler;
}

/// Bytes at random rather than zeros: zeros could be silence. The first is none of the data's last ones, so that it
/// does not go on with what they repeat.
std::vector<unsigned char> EndFiller::MakeMarks(std::size_t size) const {
    std::vector<unsigned char> marks(size);
    std::minstd_rand random(1);
    std::generate(marks.begin(), marks.end(), [&random] {
        return static_cast<unsigned char>(kFirstMark + (random() >> 8) % (kLastMark - kFirstMark + 1));
    });
    while (std::find(m_Tail.begin(), m_Tail.end(), marks.front()) != m_Tail.end()) {
        marks.front() = marks.front() == kLastMark ? kFirstMark : static_cast<unsigned char>(marks.front() + 1);
    }
    return marks;
}

/// A transport stream must stay in step, or its demuxer drops the last packets. Null packets never show.
std::vector<unsigned char> EndFiller::MakeNullPackets(std::size_t size) const {
    std::vector<unsigned char> packets(size, kStuffing);
    const std::size_t first = (kTransportPacket - m_Total % kTransportPacket) % kTransportPacket;
    for (std::size_t at = first; at < size; at += kTransportPacket) {
        std::copy_n(std::begin(kNullPacketHead), std::min(std::size(kNullPacketHead), size - at),
                    packets.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return packets;
}

int EndFiller::DataBytes(const DEMUXER_PACKET& packet) {
    if (!m_IsMade || m_IsTransportStream || packet.size == 0) {
        return packet.size;
    }
    if (m_Ended.count(packet.streamIndex) != 0) {
        return 0;
    }
    const int filler = IsFiller(packet) ? packet.size : FillerAtTheEnd(packet);
    if (filler != 0) {
        m_Ended.insert(packet.streamIndex);
    }
    return packet.size - filler;
}

bool EndFiller::IsFiller(const DEMUXER_PACKET& packet) const {
    if (packet.size < static_cast<int>(kMark) || !std::all_of(packet.data, packet.data + kMark, IsMark)) {
        return false;
    }
    return std::search(m_Filler.begin(), m_Filler.end(), packet.data, packet.data + kMark) != m_Filler.end();
}

/// A packet reaches beyond the data if it ends with the first bytes of the filler, and those follow the data's last.
int EndFiller::FillerAtTheEnd(const DEMUXER_PACKET& packet) const {
    const auto size = static_cast<std::size_t>(packet.size);
    const unsigned char* const last = packet.data + size;
    for (std::size_t count = std::min(size, m_Filler.size()); count > 0; --count) {
        const unsigned char* const first = last - count;
        const auto known = static_cast<std::ptrdiff_t>(std::min(size - count, m_Tail.size()));
        if (std::equal(first, last, m_Filler.begin()) && std::equal(first - known, first, m_Tail.end() - known)) {
            return static_cast<int>(count);
        }
    }
    return 0;
}
