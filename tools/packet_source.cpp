#include "packet_source.h"

#include <codrelay/factories.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "failure.h"
#include "files.h"

PacketSource::PacketSource(LibrarySession& session, const std::string& path)
    : m_Session(session), m_Path(path), m_Bytes(CheckInputFile(path)), m_Demuxer(Codrelay_DemuxerFile(0)) {
    // An absolute path: FFmpeg takes what stands before a colon for a protocol.
    if (!m_Demuxer->Open(std::filesystem::absolute(path).c_str(), this)) {
        throw Failure(path + ": is not a media file that can be opened, or it is damaged");
    }
    const int count = m_Demuxer->GetStreamCount();
    if (count == 0) {
        throw Failure(path + ": has no streams");
    }
    for (int index = 0; index < count; ++index) {
        m_Streams.push_back(DescribeStream(index));
    }
}

PacketSource::~PacketSource() = default;

StreamInfo PacketSource::DescribeStream(int index) {
    StreamInfo stream{index, static_cast<StreamType>(m_Demuxer->GetStreamType(index)), -1, {}};
    if (stream.type == StreamType::Video) {
        m_Demuxer->GetVideoStreamInfo(index, &stream.codecId);
    } else if (stream.type == StreamType::Audio) {
        m_Demuxer->GetAudioStreamInfo(index, &stream.codecId, &stream.audio);
    }
    return stream;
}

std::optional<StreamInfo> PacketSource::First(StreamType type) const {
    const auto found = std::find_if(m_Streams.begin(), m_Streams.end(),
                                    [type](const StreamInfo& stream) { return stream.type == type; });
    return found != m_Streams.end() ? std::optional<StreamInfo>(*found) : std::nullopt;
}

void PacketSource::ShowProgress(const std::string& label) {
    if (m_Session.IsSilent()) {
        m_Progress.emplace(label, m_Bytes);
    }
}

bool PacketSource::ReadNext(const Taker& taker) {
    m_Taker = &taker;
    const int read = ReadFrame();
    m_Taker = nullptr;
    if (m_Thrown) {
        std::rethrow_exception(std::exchange(m_Thrown, nullptr));
    }
    return read != 0;
}

void PacketSource::ReadAll(const Taker& taker) {
    while (ReadNext(taker)) {
    }
    m_Progress.reset();
}

/// The end of the file and a packet that cannot be read have one result; only the log tells them apart.
int PacketSource::ReadFrame() {
    bool failed = false;
    const ScopedListener listening(m_Session, OnThisThread([&failed](const uvqlog::LogEvent& event) {
                                       failed = failed || event.severity >= uvqlog::Severity::Error;
                                   }));
    const int read = m_Demuxer->ReadNextFrame();
    if (read == 0 && failed) {
        throw Failure(m_Path + ": is damaged or cut short: packet " + std::to_string(m_PacketsRead) +
                      " (from 0) cannot be read");
    }
    ++m_PacketsRead;
    return read;
}

/// What the taker throws travels round the library, not through it.
int PacketSource::OnPacket(DEMUXER_PACKET* packet) {
    try {
        (*m_Taker)(*packet);
        if (m_Progress) {
            m_Progress->Advance(static_cast<std::uintmax_t>(packet->size));
        }
    } catch (...) {
        m_Thrown = std::current_exception();
    }
    return 0;
}
