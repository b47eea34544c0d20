#include "picture_decoder.h"

#include <codrelay/factories.h>
#include <codrelay/ffmpeg_layer.h>

#include <cstdio>

#include "failure.h"
#include "media_names.h"

namespace {

/// FLV and H.263 are offered by the FFmpeg layer only, and so is every colour space but 4:2:0.
CVideoDecoderBase* NewDecoder(int codecId, unsigned int colorSpace) {
    if (colorSpace != CSP_YUV420P || codecId == VIDEO_CODEC_FLV || codecId == VIDEO_CODEC_H263) {
        return NewFFmpegVideoDecoder(codecId, colorSpace, "");
    }
    return Codrelay_VideoDecoder(codecId, "");
}

std::size_t PictureBytes(unsigned int colorSpace, PictureSize size) {
    const std::size_t pixels = std::size_t{size.width} * size.height;
    switch (colorSpace) {
        case CSP_BGRA:
            return pixels * 4;
        case CSP_RGB24:
        case CSP_BGR24:
            return pixels * 3;
        default: {
            const std::size_t evenWidth = (std::size_t{size.width} + 1) / 2 * 2;
            const std::size_t evenHeight = (std::size_t{size.height} + 1) / 2 * 2;
            return pixels + evenWidth * evenHeight / 2;
        }
    }
}

std::optional<PictureSize> AnnouncedSize(const std::string& line) {
    PictureSize size;
    const int found = std::sscanf(line.c_str(), "CVideoDecoder::Decode: resolution changed from %*ux%*u to %ux%u",
                                  &size.width, &size.height);
    return found == 2 ? std::optional<PictureSize>(size) : std::nullopt;
}

}  // namespace

std::string SizeText(PictureSize size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

bool CanDecode(int codecId) {
    return codecId >= VIDEO_CODEC_FLV && codecId <= VIDEO_CODEC_H265;
}

void PictureDecoder::Disposer::operator()(CVideoDecoderBase* decoder) const {
    decoder->DestroyDecoder();
    decoder->Delete();
}

PictureDecoder::PictureDecoder(LibrarySession& session, const DecoderSetup& setup)
    : m_Session(session),
      m_ColorSpace(setup.colorSpace),
      m_Size(setup.size),
      m_Decoder(NewDecoder(setup.codecId, setup.colorSpace)) {
    const std::string name = VideoCodecName(setup.codecId);
    if (!m_Decoder) {
        throw Failure("there is no decoder for video codec " + name);
    }
    if (m_Decoder->CreateDecoder(m_ColorSpace, m_Size.width, m_Size.height, nullptr) == 0) {
        throw Failure("the " + name + " decoder cannot be created at " + SizeText(m_Size));
    }
    if (setup.allowResize) {
        m_Decoder->AllowResolutionChange();
    }
}

/// A picture that was converted does not tell its size: it has that of the creation, or of the last change, which the
/// decoder tells in its log alone.
DecodeStatus PictureDecoder::Decode(const DEMUXER_PACKET& packet, Picture& picture, unsigned int rateLimit) {
    const ScopedListener listening(m_Session, [this](const uvqlog::LogEvent& event) {
        m_Size = AnnouncedSize(std::string(event.text)).value_or(m_Size);
    });
    std::shared_ptr<CFrameBufferBase> frame;
    const int status = m_Decoder->Decode(packet.data, packet.size, frame, packet.pts, rateLimit);
    if (frame) {
        const bool tellsSize = frame->m_nWidth != 0;
        const PictureSize size = tellsSize ? PictureSize{frame->m_nWidth, frame->m_nHeight} : m_Size;
        picture = {std::move(frame), size, PictureBytes(m_ColorSpace, size)};
    }
    return static_cast<DecodeStatus>(status);
}
