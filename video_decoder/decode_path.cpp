#include <cstdint>
#include <limits>
#include <utility>

#include "support/ffmpeg_error.h"
#include "support/log_front.h"
#include "video_decoder/decode_status.h"
#include "video_decoder/decoder_csp_transform.h"
#include "video_decoder/video_decoder.h"

namespace {

bool WantsOtherSide(int result) {
    return result == AVERROR_EOF || result == AVERROR(EAGAIN);
}

/// The NAL unit types of coded slices.
bool IsSliceHeader(unsigned char header) {
    const int type = header & 0x1f;
    return type >= 1 && type <= 5;
}

/// Reads the first start code and the byte behind it as H.264 does, whatever the codec. Hosts rely on the packets of
/// other codecs counting as service data where they do not look like H.264.
bool StartsWithSlice(const unsigned char* data, int size) {
    if (data == nullptr || size < 4 || data[0] != 0 || data[1] != 0) {
        return false;
    }
    if (data[2] == 1) {
        return IsSliceHeader(data[3]);
    }
    return size >= 5 && data[2] == 0 && data[3] == 1 && IsSliceHeader(data[4]);
}

/// The least distance of two pictures in milliseconds.
long long RateLimitInterval(unsigned int rateLimit) {
    return rateLimit == std::numeric_limits<unsigned int>::max() ? 0 : 1000 / (rateLimit + 1);
}

/// Timestamps come from streams: the difference may wrap.
long long Elapsed(long long since, long long now) {
    return static_cast<long long>(static_cast<uint64_t>(now) - static_cast<uint64_t>(since));
}

}  // namespace

/// One packet on its way through a decoder, and the pictures that it yields.
class DecodeCall {
public:
    DecodeCall(CVideoDecoder& decoder, StatHelper& stat, const long long* timestamp, unsigned int rateLimit)
        : m_Decoder(decoder), m_Stat(stat), m_pTimestamp(timestamp), m_nRateLimit(rateLimit) {}

    bool TakeFrame();
    void FillPacket(unsigned char* data, int length);
    int SendAndReceive();
    int Deliver(std::shared_ptr<CFrameBufferBase>& frame);

private:
    // The steps that may end the call. kDecodedPicture means that nothing stands in the way of the next one.
    int SendFailed(int error);
    int ReceivePictures();
    int ReceiveFailed(int error);
    void DropWaitingPicture();
    int TakeOrKeepPicture();
    int TakeWaitingPictures();
    int TakePicture();
    bool PassesRateLimit();
    int ChangeResolution();

    /// Whether pictures may come out together that FFmpeg 4 gives one a call, as hosts know it. Then each that was
    /// received waits for its turn, and a call takes the first.
    bool PicturesWait() const { return kSequencesEndAtOnce && m_Decoder.m_nCodecId == AV_CODEC_ID_HEVC; }

    CVideoDecoder& m_Decoder;
    StatHelper& m_Stat;
    const long long* m_pTimestamp;
    unsigned int m_nRateLimit;
    std::shared_ptr<CFrameBufferBase> m_pPicture;
    bool m_bGotFrame = false;
};

bool CVideoDecoder::Decode(unsigned char* data, int length) {
    std::shared_ptr<CFrameBufferBase> dropped;
    const int status = Decode(data, length, dropped);
    return status == kDecodedPicture || status == kNoPictureYet;
}

int CVideoDecoder::Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame) {
    return DecodeImpl(data, length, frame, nullptr, 0);
}

int CVideoDecoder::Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame,
                          long long timestamp, unsigned int rateLimit) {
    return DecodeImpl(data, length, frame, &timestamp, rateLimit);
}

int CVideoDecoder::DecodeImpl(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame,
                              long long* timestamp, unsigned int rateLimit) {
    StatHelper stat("CVideoDecoder", &m_nLastStatMs, &m_Stat);
    if (length <= 0) {
        FFMPEG_LOG(Error) << "CVideoDecoder::Decode: Zero input len!";
        return kDecodeError;
    }
    if (m_nCreated == 0) {
        FFMPEG_LOG(Error) << "CVideoDecoder::Decode: You should create first!";
        return kDecodeError;
    }
    DecodeCall call(*this, stat, timestamp, rateLimit);
    if (!call.TakeFrame()) {
        FFMPEG_LOG(Critical) << "CVideoDecoder::Decode: frame pool is out of frames!";
        return kNoFrameBuffer;
    }
    call.FillPacket(data, length);
    const int status = call.SendAndReceive();
    return status == kDecodedPicture ? call.Deliver(frame) : status;
}

bool DecodeCall::TakeFrame() {
    return m_Decoder.m_FramePool.GetFrame(m_pPicture);
}

void DecodeCall::FillPacket(unsigned char* data, int length) {
    av_init_packet(&m_Decoder.m_Packet);
    m_Decoder.m_Packet.data = data;
    m_Decoder.m_Packet.size = length;
}

/// Until the decoder has taken the packet, and everything that it has ready is received.
int DecodeCall::SendAndReceive() {
    int sent;
    do {
        sent = avcodec_send_packet(m_Decoder.m_pCodecContext, &m_Decoder.m_Packet);
        if (sent < 0 && !WantsOtherSide(sent)) {
            return SendFailed(sent);
        }
        const int status = ReceivePictures();
        if (status != kDecodedPicture) {
            return status;
        }
    } while (sent == AVERROR(EAGAIN));
    const int status = PicturesWait() ? TakeWaitingPictures() : kDecodedPicture;
    if (status != kDecodedPicture) {
        return status;
    }
    return m_bGotFrame ? kDecodedPicture : kNoPictureYet;
}

/// Tells a broken packet from one that merely holds no picture. H.265 gets no such mercy.
int DecodeCall::SendFailed(int error) {
    const AVPacket& packet = m_Decoder.m_Packet;
    if (m_Decoder.m_nCodecId != AV_CODEC_ID_HEVC && !StartsWithSlice(packet.data, packet.size)) {
        FFMPEG_LOG(Trace) << "CVideoDecoder::DecodeImpl: video decode service data skip none VCL NALU";
        return kNoPictureYet;
    }
    FFMPEG_LOG(Error) << "CVideoDecoder::DecodeImpl: "
                      << "Error submitting the packet to the video decoder: "
                      << " err: (" << error << ") " << FfmpegErrorText(error).c_str();
    DropWaitingPicture();
    return kDecodeError;
}

int DecodeCall::ReceivePictures() {
    int received;
    do {
        received = avcodec_receive_frame(m_Decoder.m_pCodecContext, m_Decoder.m_pFrame);
        if (WantsOtherSide(received)) {
            break;
        }
        if (received < 0 && received != AVERROR_INPUT_CHANGED) {
            return ReceiveFailed(received);
        }
        const int status = received > 0 ? kDecodedPicture : TakeOrKeepPicture();
        if (status != kDecodedPicture) {
            return status;
        }
    } while (received >= 0);
    return kDecodedPicture;
}

int DecodeCall::ReceiveFailed(int error) {
    FFMPEG_LOG(Critical) << "CVideoDecoder::Decode: video decode error: " << FfmpegErrorText(error).c_str();
    DropWaitingPicture();
    return kDecodeError;
}

/// A call that fails costs one picture, so that they never pile up.
void DecodeCall::DropWaitingPicture() {
    if (PicturesWait()) {
        m_Decoder.m_Waiting.Take(m_Decoder.m_pFrame);
    }
}

int DecodeCall::TakeOrKeepPicture() {
    if (!PicturesWait()) {
        return TakePicture();
    }
    if (!m_Decoder.m_Waiting.Add(m_Decoder.m_pFrame)) {
        FFMPEG_LOG(Critical) << "CVideoDecoder::Decode: Frame alloc error!";
        return kDecodeError;
    }
    return kDecodedPicture;
}

/// The first one, or at the end of the stream all of them.
int DecodeCall::TakeWaitingPictures() {
    const bool isEnd = m_Decoder.m_Packet.data == nullptr;
    while (m_Decoder.m_Waiting.Take(m_Decoder.m_pFrame)) {
        const int status = TakePicture();
        if (status != kDecodedPicture) {
            return status;
        }
        av_frame_unref(m_Decoder.m_pFrame);
        if (!isEnd) {
            break;
        }
    }
    return kDecodedPicture;
}

/// Copies the picture out, over the one before if the packet has yielded one already.
int DecodeCall::TakePicture() {
    m_Stat.m_bCount = true;
    if (!PassesRateLimit()) {
        return kDecodedPicture;
    }
    if (m_Decoder.m_bAllowResolutionChange && m_Decoder.ResolutionHasChanged()) {
        const int status = ChangeResolution();
        if (status != kDecodedPicture) {
            return status;
        }
    }
    const int status = m_Decoder.CopyOutFrame(m_pPicture);
    m_bGotFrame = true;
    return status;
}

bool DecodeCall::PassesRateLimit() {
    if (m_pTimestamp == nullptr) {
        return true;
    }
    if (m_nRateLimit != 0 && Elapsed(m_Decoder.m_nLastTimestamp, *m_pTimestamp) < RateLimitInterval(m_nRateLimit)) {
        return false;
    }
    m_Decoder.m_nLastTimestamp = *m_pTimestamp;
    return true;
}

int DecodeCall::ChangeResolution() {
    CVideoDecoder& decoder = m_Decoder;
    const AVFrame& picture = *decoder.m_pFrame;
    FFMPEG_LOG(Info) << "CVideoDecoder::Decode: resolution changed"
                     << " from " << decoder.m_nWidth << "x" << decoder.m_nHeight << " to " << picture.width << "x"
                     << picture.height << ", reiniting the pool";
    decoder.m_nWidth = static_cast<unsigned int>(picture.width);
    decoder.m_nHeight = static_cast<unsigned int>(picture.height);
    // FFmpeg's H.265 decoder runs ahead of the picture: the size written would be an old one, and pictures with
    // unwritten pixels would follow.
    if (decoder.m_nCodecId != AV_CODEC_ID_HEVC) {
        decoder.m_pCodecContext->width = picture.width;
        decoder.m_pCodecContext->height = picture.height;
    }
    decoder.m_FramePool.Clear();
    decoder.InitFramePool(decoder.m_pCallback);
    decoder.m_pTransform.reset();
    if (!TakeFrame()) {
        FFMPEG_LOG(Critical) << "CVideoDecoder::Decode: frame pool is out of frames after resolution change!";
        return kNoFrameBuffer;
    }
    return kDecodedPicture;
}

int DecodeCall::Deliver(std::shared_ptr<CFrameBufferBase>& frame) {
    m_pPicture.swap(frame);
    if (m_pTimestamp != nullptr) {
        frame->m_nTimestamp = *m_pTimestamp;
    }
    return kDecodedPicture;
}
