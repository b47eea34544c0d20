#include "picture_decoder.h"

#include <codrelay/factories.h>
#include <codrelay/ffmpeg_layer.h>

#include <cstdio>
#include <optional>
#include <string>

#include "failure.h"
#include "media_names.h"

namespace {

/// FLV and H.263 are offered by the FFmpeg layer only.
CVideoDecoderBase* NewDecoder(int codecId) {
    if (codecId == VIDEO_CODEC_FLV || codecId == VIDEO_CODEC_H263) {
        return NewFFmpegVideoDecoder(codecId, CSP_YUV420P, "");
    }
    return Codrelay_VideoDecoder(codecId, "");
}

std::optional<PictureSize> AnnouncedSize(const std::string& line) {
    PictureSize size;
    const int found = std::sscanf(line.c_str(), "CVideoDecoder::Decode: resolution changed from %*ux%*u to %ux%u",
                                  &size.width, &size.height);
    return found == 2 ? std::optional<PictureSize>(size) : std::nullopt;
}

}  // namespace

bool CanDecode(int codecId) {
    return codecId >= VIDEO_CODEC_FLV && codecId <= VIDEO_CODEC_H265;
}

void PictureDecoder::Disposer::operator()(CVideoDecoderBase* decoder) const {
    decoder->DestroyDecoder();
    decoder->Delete();
}

PictureDecoder::PictureDecoder(LibrarySession& session, const DecoderSetup& setup)
    : m_Session(session), m_Size(setup.size), m_Decoder(NewDecoder(setup.codecId)) {
    const std::string name = VideoCodecName(setup.codecId);
    if (!m_Decoder) {
        throw Failure("there is no decoder for video codec " + name);
    }
    if (m_Decoder->CreateDecoder(CSP_YUV420P, m_Size.width, m_Size.height, nullptr) == 0) {
        throw Failure("the " + name + " decoder cannot be created at " + SizeText(m_Size));
    }
    if (setup.allowResize) {
        m_Decoder->AllowResolutionChange();
    }
}

/// A picture that was converted does not tell its size: it has that of the creation, or of the last change, which the
/// decoder tells in its log alone.
DecodeStatus PictureDecoder::Decode(const DEMUXER_PACKET& packet, Picture& picture, unsigned int rateLimit) {
    const ScopedListener listening(m_Session, OnThisThread([this](const uvqlog::LogEvent& event) {
                                       m_Size = AnnouncedSize(std::string(event.text)).value_or(m_Size);
                                   }));
    std::shared_ptr<CFrameBufferBase> frame;
    const int status = m_Decoder->Decode(packet.data, packet.size, frame, packet.pts, rateLimit);
    if (frame) {
        const bool tellsSize = frame->m_nWidth != 0;
        const PictureSize size = tellsSize ? PictureSize{frame->m_nWidth, frame->m_nHeight} : m_Size;
        picture = {std::move(frame), size, PictureBytes(CSP_YUV420P, size)};
    }
    return static_cast<DecodeStatus>(status);
}
