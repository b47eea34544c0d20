#include "picture_size.h"

namespace {

constexpr PictureSize kUnlikelySize{8192, 1};
/// A stream without a picture in so many packets has none.
constexpr int kPatience = 1000;

}  // namespace

PictureSizeFinder::PictureSizeFinder(LibrarySession& session, int codecId) : m_PacketsLeft(kPatience) {
    m_Decoder.emplace(session, DecoderSetup{codecId, kUnlikelySize, true});
}

void PictureSizeFinder::Feed(const DEMUXER_PACKET& packet) {
    if (IsDone()) {
        return;
    }
    Picture picture;
    m_HasPicture = m_Decoder->Decode(packet, picture) == DecodeStatus::Picture;
    // A decoder that no size was found for gives pictures of the size that it was created with.
    if (m_HasPicture && !(picture.size == kUnlikelySize)) {
        m_Size = picture.size;
    }
    if (m_HasPicture || --m_PacketsLeft == 0) {
        m_Decoder.reset();
    }
}
