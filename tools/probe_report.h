#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "library_session.h"
#include "packet_source.h"
#include "picture_size.h"

/// How a report is written.
struct ProbeStyle {
    bool packets = false;
    bool json = false;
    /// What the times are counted in, as the heads of columns tell it: "ms".
    std::string unit = "ms";
};

/// What a container holds, stream by stream, on standard output: packets as they come, the table at the end.
class ProbeReport {
public:
    ProbeReport(LibrarySession& session, const ProbeStyle& style) : m_Session(session), m_Style(style) {}

    void AddStream(const StreamInfo& info);
    /// A packet of a stream that was not added belongs to one of another kind.
    void TakePacket(const DEMUXER_PACKET& packet);
    void Finish();

private:
    struct Stream {
        StreamInfo info{};
        /// Of a video stream that the library decodes.
        std::unique_ptr<PictureSizeFinder> sizeFinder;
        long long packets = 0;
        /// Presentation times of the first and the last packet, in the order of the container.
        std::optional<long long> first;
        std::optional<long long> last;

        std::optional<PictureSize> Size() const { return sizeFinder ? sizeFinder->Size() : std::nullopt; }
    };

    void Begin();
    void PrintPacket(const DEMUXER_PACKET& packet);
    void PrintTable() const;
    void PrintJsonEnd() const;
    void PrintStreamAsJson(const Stream& stream) const;

    LibrarySession& m_Session;
    ProbeStyle m_Style;
    std::map<int, Stream> m_Streams;
    bool m_HasBegun = false;
    long long m_Packets = 0;
};
