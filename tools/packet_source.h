#pragma once

#include <codrelay/file_demuxer.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "library_session.h"
#include "progress_bar.h"

/// What stands in a packet's pts or dts where the container gives none.
inline constexpr long long kNoTime = std::numeric_limits<long long>::min();

/// When a packet is shown, or else decoded; kNoTime where the container tells neither.
inline long long StampOf(const DEMUXER_PACKET& packet) {
    return packet.pts != kNoTime ? packet.pts : packet.dts;
}

enum class StreamType { Other = 0, Video = 1, Audio = 2 };

struct StreamInfo {
    int index;
    StreamType type;
    /// The library's codec id; -1 for a codec that it does not name, and for streams of other types.
    int codecId;
    /// Of an audio stream.
    AUDIO_FORMAT audio;
};

/// An open media file and its packets. Every operation fails by `Failure`, naming the file.
class PacketSource : private CDemuxerFileCallback {
public:
    /// Gets one packet; its bytes are good for the call.
    using Taker = std::function<void(const DEMUXER_PACKET&)>;

    PacketSource(LibrarySession& session, const std::string& path);
    ~PacketSource() override;

    const std::vector<StreamInfo>& Streams() const { return m_Streams; }
    /// The first stream of that type, if there is one.
    std::optional<StreamInfo> First(StreamType type) const;
    /// From now on reading moves a progress bar, unless log lines go where it stands.
    void ShowProgress(const std::string& label);
    /// False at the end of the file.
    bool ReadNext(const Taker& taker);
    /// Reads to the end of the file.
    void ReadAll(const Taker& taker);

private:
    int OnPacket(DEMUXER_PACKET* packet) override;
    StreamInfo DescribeStream(int index);
    int ReadFrame();

    LibrarySession& m_Session;
    std::string m_Path;
    std::uintmax_t m_Bytes;
    std::unique_ptr<CDemuxerFileBase> m_Demuxer;
    std::vector<StreamInfo> m_Streams;
    std::optional<ProgressBar> m_Progress;
    long long m_PacketsRead = 0;
    const Taker* m_Taker = nullptr;
    std::exception_ptr m_Thrown;
};
