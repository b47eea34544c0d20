#pragma once

#include "codrelay/video_encoder.h"
#include "support/ffmpeg.h"
#include "video_decoder/stat_helper.h"

/// The FFmpeg software encoder. Its tuning is fixed and depends on the codec alone.
class CVideoEncoder : public CVideoEncoderBase {
public:
    /// Looks nothing up and cannot fail. A null name is an empty one.
    CVideoEncoder(int codecId, const char* codecName, unsigned int colorSpace, int pixFmt);
    /// Leaves FFmpeg's objects alone: closing them takes the library lock, which is DestroyEncoder's business.
    ~CVideoEncoder() override;
    CVideoEncoder(const CVideoEncoder&) = delete;
    CVideoEncoder& operator=(const CVideoEncoder&) = delete;

    void Delete() override;
    unsigned int GetSupportedColorSpaces() override;
    unsigned int GetSupportedModes() override;
    unsigned int GetEncoderKind() override;
    int GetMaxOutFrameLength(unsigned int width, unsigned int height) override;
    int CreateEncoder(unsigned int colorSpace, unsigned int width, unsigned int height, unsigned int frameRate,
                      unsigned int bitRate, unsigned int reserved, unsigned int mode, int maxKeyInterval) override;
    unsigned int IsCreated() override;
    unsigned int GetMode() override;
    unsigned int GetColorSpace() override;
    void DestroyEncoder() override;
    int Encode(CFrameBufferBase* frame, unsigned char* out, unsigned int outSize, int* keyFrame) override;
    int ChangeEncoderResolution(unsigned int width, unsigned int height) override;

    /// Maps the picture onto the encoder's frame; not a byte is copied.
    bool FillFrame(CFrameBufferBase* frame);

protected:
    bool AcceptColorSpaceAndMode(unsigned int colorSpace, unsigned int mode);
    bool OpenEncoderWithFrame();
    int OpenEncoder(int codecId, const char* codecName, unsigned int frameRate, unsigned int bitRate,
                    int maxKeyInterval);
    /// A nonzero `lock` takes the library lock; 0 is for a caller that holds it.
    void Destroy(unsigned int lock);
    void ClearOpenOpts();

    // The tuning. REQUIRES: there is a context; the rates are not 0, save for Tune, which has a default for them.
    void Tune(unsigned int frameRate, unsigned int bitRate, int maxKeyInterval);
    void InitCommon(unsigned int frameRate, unsigned int bitRate, int keyInterval);
    void InitSoftAny(unsigned int frameRate, unsigned int bitRate);
    void InitSoftH264(unsigned int frameRate, unsigned int bitRate);
    void InitH264Rate(unsigned int bitRate);
    void InitH264StandIn(unsigned int bitRate);
    void InitSoftNotH264(unsigned int frameRate, unsigned int bitRate);
    void InitSoftMJPEG();

    int m_nCodecId;
    char m_szCodecName[128 + 1] = {};  // ends in 0 also behind a name of 128 bytes
    unsigned int m_nSupportedColorSpace;
    unsigned int m_nEncoderKind = 2;
    int m_nFfmpegPixFmt;
    unsigned int m_nBitRate = 0;
    unsigned int m_nFrameRate = 0;
    unsigned int m_nReserved = 0;
    int m_nMaxKeyInterval = 0;
    unsigned int m_nCreated = 0;
    AVFrame* m_pFrame = nullptr;  // a view on the caller's pixels
    AVCodecContext* m_pCodecContext = nullptr;
    unsigned int m_nWidth = 0;
    unsigned int m_nHeight = 0;
    unsigned int m_nColorSpace = 0;
    unsigned int m_nMode = 0;
    long long m_nNextPts = 0;
    unsigned int m_nOpened = 0;
    AVDictionary* m_pOpenOptions = nullptr;
    long long m_nLastStatMs;
    CodecStat m_Stat;
    bool m_bX264 = false;  // stands in for OpenH264
};
