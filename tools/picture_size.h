#pragma once

#include <optional>

#include "packet_source.h"
#include "picture_decoder.h"

/// Learns the picture size of one video stream, which the demuxer does not tell: decodes on a decoder of its own, made
/// for a size that no stream has, until the first picture shows.
class PictureSizeFinder {
public:
    /// REQUIRES: CanDecode(codecId).
    PictureSizeFinder(LibrarySession& session, int codecId);

    /// Takes one packet of the stream; ignored once the finder is done.
    void Feed(const DEMUXER_PACKET& packet);
    bool IsDone() const { return !m_Decoder.has_value(); }
    /// Whether any picture came. One without a size means that the stream carries none.
    bool HasPicture() const { return m_HasPicture; }
    std::optional<PictureSize> Size() const { return m_Size; }

private:
    std::optional<PictureDecoder> m_Decoder;
    int m_PacketsLeft;
    bool m_HasPicture = false;
    std::optional<PictureSize> m_Size;
};
