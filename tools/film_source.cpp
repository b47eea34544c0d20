#include "film_source.h"

#include <algorithm>
#include <cmath>

#include "failure.h"

FilmSource::FilmSource(LibrarySession& session, const VideoInputOptions& input)
    : m_Session(session), m_File(input.file), m_Input(FindVideoInput(session, input)) {}

/// The library does not tell the rate, but the packets' times do.
std::optional<unsigned int> FilmSource::FrameRate() {
    long long count = 0;
    long long first = 0;
    long long last = 0;
    PacketSource source(m_Session, m_File);
    source.ShowProgress("reading");
    source.ReadAll([&](const DEMUXER_PACKET& packet) {
        if (packet.streamIndex == m_Input.stream.index && packet.pts != kNoTime) {
            first = count == 0 ? packet.pts : std::min(first, packet.pts);
            last = count == 0 ? packet.pts : std::max(last, packet.pts);
            ++count;
        }
    });
    if (count < 2 || last == first) {
        return std::nullopt;
    }
    const double rate = static_cast<double>(count - 1) * 1000 / static_cast<double>(last - first);
    return static_cast<unsigned int>(std::clamp(std::round(rate), 1.0, 1000.0));
}

void FilmSource::ReadAll(const Taker& taker) {
    PictureDecoder decoder(m_Session, {m_Input.stream.codecId, m_Input.size, true});
    PacketSource source(m_Session, m_File);
    source.ShowProgress("encoding");
    bool any = false;
    source.ReadAll([&](const DEMUXER_PACKET& packet) {
        Picture picture;
        if (packet.streamIndex == m_Input.stream.index && decoder.Decode(packet, picture) == DecodeStatus::Picture) {
            any = true;
            taker(picture);
        }
    });
    if (!any) {
        throw Failure(m_File + ": " + NoPictureText(m_Input.stream.codecId));
    }
}
