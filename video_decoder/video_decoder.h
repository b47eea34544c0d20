#pragma once

#include <memory>
#include <string>

#include "codrelay/video_decoder.h"
#include "support/ffmpeg.h"
#include "video_decoder/frame_pool.h"
#include "video_decoder/stat_helper.h"
#include "video_decoder/waiting_pictures.h"

class DecoderCspTransform;

/// The FFmpeg software decoder. Delivers one colour space, fixed when it is built.
class CVideoDecoder : public CVideoDecoderBase {
public:
    /// `codecName` may be null; at most 128 bytes of it are kept. `pixFmt` is the format of the pictures delivered,
    /// AV_PIX_FMT_NONE for whatever FFmpeg produces.
    CVideoDecoder(AVCodecID codecId, const char* codecName, unsigned int colorSpace, AVPixelFormat pixFmt);
    /// Does not close FFmpeg's decoder. REQUIRES: DestroyDecoder() since the last CreateDecoder(), or that is lost.
    ~CVideoDecoder() override;
    CVideoDecoder(const CVideoDecoder&) = delete;
    CVideoDecoder& operator=(const CVideoDecoder&) = delete;

    void Delete() override;
    unsigned int GetSupportedColorSpaces() override;
    unsigned int GetOutputColorSpace() override;
    int CreateDecoder(unsigned int colorSpace, unsigned int width, unsigned int height,
                      CFrameBufferStreamCallback* callback) override;
    void DestroyDecoder() override;
    bool Decode(unsigned char* data, int length) override;
    int Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame) override;
    int Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame, long long timestamp,
               unsigned int rateLimit) override;
    bool AllowResolutionChange() override;

    /// Arms the pool for pictures of the decoder's colour space and size.
    void InitFramePool(CFrameBufferStreamCallback* callback);
    /// Takes the library lock unless `lock` is 0: then the caller holds it.
    void Destroy(unsigned int lock);
    bool GetFrameFromPool(std::shared_ptr<CFrameBufferBase>& frame);
    /// True if the picture that FFmpeg wrote last has another size than the decoder. FFmpeg empties that picture at the
    /// start of the next attempt, so after an ordinary Decode() it has none, and the answer is true.
    bool ResolutionHasChanged() const;

    /// The working path of all three Decode(). `timestamp` may be null.
    int DecodeImpl(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame, long long* timestamp,
                   unsigned int rateLimit);
    /// Copies FFmpeg's picture into `frame`: 0, or 2 on a failed copy or conversion, or 5 on another size.
    int CopyOutFrame(std::shared_ptr<CFrameBufferBase>& frame);
    /// The same through the transform: 0 or 2.
    int CopyOutTransformedFrame(std::shared_ptr<CFrameBufferBase>& frame);

private:
    static constexpr unsigned int kCodecNameSize = 128;

    // The steps of CreateDecoder. Each that fails has written its line.
    bool MayBeCreated(unsigned int colorSpace) const;
    FfmpegCodec* FindDecoder() const;
    bool OpenDecoder(const AVCodec* codec, unsigned int width, unsigned int height,
                     CFrameBufferStreamCallback* callback);
    bool AllocateContext(const AVCodec* codec);
    void FillContext();
    bool OpenContext(const AVCodec* codec);
    void ReportOutputFormat() const;
    bool AllocateFrame();

    std::string CodecName() const;

    // Behind DecodeImpl: what happens to one packet and to the pictures that it yields.
    friend class DecodeCall;

    AVCodecID m_nCodecId;
    char m_szCodecName[kCodecNameSize];  // without a terminator where the name fills it
    unsigned int m_nColorSpace;
    AVPixelFormat m_nFfmpegPixFmt;
    unsigned int m_nWidth = 0;
    unsigned int m_nHeight = 0;
    AVCodecContext* m_pCodecContext = nullptr;
    AVFrame* m_pFrame = nullptr;
    unsigned int m_nCreated = 0;
    AVPacket m_Packet{};
    unsigned int m_nOpened = 0;
    long long m_nLastTimestamp = 0;
    ThreadsafeFramePool m_FramePool;
    long long m_nLastStatMs;
    CodecStat m_Stat;
    CFrameBufferStreamCallback* m_pCallback = nullptr;
    bool m_bAllowResolutionChange = false;
    std::unique_ptr<DecoderCspTransform> m_pTransform;
    WaitingPictures m_Waiting;
};
