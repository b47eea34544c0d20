#pragma once

#include <codrelay/demuxer_packet.h>
#include <codrelay/media_ids.h>
#include <codrelay/video_decoder.h>

#include <memory>

#include "library_session.h"
#include "picture.h"

/// What `Decode` answers.
enum class DecodeStatus { Picture = 0, Damaged = 2, NoPicture = 3, NoBuffer = 4, OtherSize = 5 };

struct DecoderSetup {
    int codecId = VIDEO_CODEC_NONE;
    PictureSize size;
    bool allowResize = false;
};

/// True where the library has a decoder for this codec.
bool CanDecode(int codecId);

/// A decoder of the library that gives CSP_YUV420P, created. A set-up that it refuses is a `Failure`.
class PictureDecoder {
public:
    PictureDecoder(LibrarySession& session, const DecoderSetup& setup);

    /// Decodes one packet with its pts as the timestamp; `picture` is set on DecodeStatus::Picture alone.
    DecodeStatus Decode(const DEMUXER_PACKET& packet, Picture& picture, unsigned int rateLimit = 0);

private:
    struct Disposer {
        void operator()(CVideoDecoderBase* decoder) const;
    };

    LibrarySession& m_Session;
    PictureSize m_Size;
    std::unique_ptr<CVideoDecoderBase, Disposer> m_Decoder;
};
