#pragma once

#include <memory>
#include <string>

#include "common/digest.h"
#include "front/registry/picture_size.h"
#include "video_decoder/access_units.h"
#include "video_decoder/video_decoder.h"

struct DecoderCodec {
    AVCodecID id;
    const char* name;
};

inline constexpr DecoderCodec kH264{AV_CODEC_ID_H264, "h264"};
inline constexpr DecoderCodec kH265{AV_CODEC_ID_HEVC, "hevc"};
inline constexpr DecoderCodec kMpeg4{AV_CODEC_ID_MPEG4, "mpeg4"};
inline constexpr DecoderCodec kMjpeg{AV_CODEC_ID_MJPEG, "mjpeg"};
inline constexpr DecoderCodec kFlv1{AV_CODEC_ID_FLV1, "flv"};
inline constexpr DecoderCodec kH263{AV_CODEC_ID_H263, "h263"};

struct DecoderFormat {
    unsigned int colorSpace;
    AVPixelFormat format;
};

inline constexpr DecoderFormat kAnyFormat{CSP_YUV420P_ALT, AV_PIX_FMT_NONE};
inline constexpr DecoderFormat kYuv420{CSP_YUV420P, AV_PIX_FMT_YUV420P};
inline constexpr DecoderFormat kYuyv{CSP_YUYV422, AV_PIX_FMT_YUYV422};
inline constexpr DecoderFormat kBgr24{CSP_BGR24, AV_PIX_FMT_BGR24};
inline constexpr DecoderFormat kRgb24{CSP_RGB24, AV_PIX_FMT_RGB24};
inline constexpr DecoderFormat kBgra{CSP_BGRA, AV_PIX_FMT_BGRA};

using Frame = std::shared_ptr<CFrameBufferBase>;

/// A decoder that is destroyed as it must be.
class TestDecoder {
public:
    explicit TestDecoder(DecoderCodec codec, DecoderFormat format = kYuv420)
        : m_nColorSpace(format.colorSpace), m_Decoder(codec.id, codec.name, format.colorSpace, format.format) {
        av_log_set_level(AV_LOG_QUIET);  // FFmpeg's own words on broken streams
    }
    ~TestDecoder() { m_Decoder.DestroyDecoder(); }

    CVideoDecoder* operator->() { return &m_Decoder; }

    int Create(unsigned int width, unsigned int height, CFrameBufferStreamCallback* callback = nullptr) {
        return m_Decoder.CreateDecoder(m_nColorSpace, width, height, callback);
    }
    int Decode(AccessUnit& unit, Frame& frame) {
        return m_Decoder.Decode(unit.data(), static_cast<int>(unit.size()), frame);
    }
    int Decode(AccessUnit& unit, Frame& frame, long long timestamp, unsigned int rateLimit) {
        return m_Decoder.Decode(unit.data(), static_cast<int>(unit.size()), frame, timestamp, rateLimit);
    }

private:
    unsigned int m_nColorSpace;
    CVideoDecoder m_Decoder;
};

/// The hash of a 4:2:0 picture that tells its size.
inline std::string HashOf(CFrameBufferBase& frame) {
    return Md5Of(frame.GetConstData(), PictureSize(CSP_YUV420P, frame.m_nWidth, frame.m_nHeight));
}
