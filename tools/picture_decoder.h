#pragma once

#include <codrelay/demuxer_packet.h>
#include <codrelay/media_ids.h>
#include <codrelay/video_decoder.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "library_session.h"

struct PictureSize {
    unsigned int width = 0;
    unsigned int height = 0;

    bool operator==(const PictureSize& other) const { return width == other.width && height == other.height; }
};

std::string SizeText(PictureSize size);

/// A decoded picture. Holding it keeps one of the decoder's eight buffers.
struct Picture {
    std::shared_ptr<CFrameBufferBase> frame;
    PictureSize size;
    std::size_t bytes = 0;
};

/// What `Decode` answers.
enum class DecodeStatus { Picture = 0, Damaged = 2, NoPicture = 3, NoBuffer = 4, OtherSize = 5 };

struct DecoderSetup {
    int codecId = VIDEO_CODEC_NONE;
    unsigned int colorSpace = CSP_YUV420P;
    PictureSize size;
    bool allowResize = false;
};

/// True where the library has a decoder for this codec.
bool CanDecode(int codecId);

/// A decoder of the library, created. A set-up that it refuses is a `Failure`.
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
    unsigned int m_ColorSpace;
    PictureSize m_Size;
    std::unique_ptr<CVideoDecoderBase, Disposer> m_Decoder;
};
