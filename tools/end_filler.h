#pragma once

#include <codrelay/demuxer_packet.h>

#include <atomic>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

/// What is written into a memory demuxer behind the data, so that it takes all of the data: enough to end the lap of
/// its buffer, and one byte more, which is not stored before the reader has taken the whole lap. Tells packets that
/// reach into it from those of the data.
///
/// Of a frame in which an ASF is cut, its demuxer gives the beginning, but only where the input itself ends there. So
/// what ends the lap goes ahead of an ASF whose length is known, and the one byte alone behind it.
class EndFiller {
public:
    /// `formatName` is the demuxer's long name, or "asf" or "wav".
    explicit EndFiller(const std::string& formatName);

    /// To be called before so many bytes of data: what is to be written ahead of them, if anything.
    std::vector<unsigned char> MakeLead(std::uint64_t dataBytes);
    /// Takes note of data on its way in.
    void NoteData(const unsigned char* data, std::size_t size);
    /// To be called when all data is in: the bytes that are to follow.
    std::vector<unsigned char>& Make();
    /// How many bytes of a packet are data; the rest is filler. For the thread that reads.
    int DataBytes(const DEMUXER_PACKET& packet);

private:
    std::vector<unsigned char> MakeMarks(std::size_t size) const;
    std::vector<unsigned char> MakeNullPackets(std::size_t size) const;
    bool IsFiller(const DEMUXER_PACKET& packet) const;
    int FillerAtTheEnd(const DEMUXER_PACKET& packet) const;

    bool m_IsTransportStream;
    bool m_IsAsf;
    std::uint64_t m_Total = 0;
    /// The last bytes of the data.
    std::vector<unsigned char> m_Tail;
    std::vector<unsigned char> m_Filler;
    /// No packet can hold filler before.
    std::atomic<bool> m_IsMade{false};
    /// The streams whose data is at an end.
    std::set<int> m_Ended;
};
