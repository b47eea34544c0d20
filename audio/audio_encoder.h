#pragma once

#include <string>

#include "audio/planar_staging.h"
#include "codrelay/audio_encoder.h"
#include "support/ffmpeg.h"

/// The FFmpeg audio encoder.
class CAudioEncoder : public CAudioEncoderBase {
public:
    /// `name` may be null; at most 128 bytes of it are kept.
    CAudioEncoder(AVCodecID id, const char* name);
    /// Does not close FFmpeg's encoder. REQUIRES: DestroyEncoder() since the last CreateEncoder(), or that is lost.
    ~CAudioEncoder() override;
    CAudioEncoder(const CAudioEncoder&) = delete;
    CAudioEncoder& operator=(const CAudioEncoder&) = delete;

    void Delete() override;
    int GetSupportedFormats() override;
    int GetDefaultFormat() override;
    bool CreateEncoder(const AUDIO_FORMAT* format, unsigned int bitrate) override;
    int GetMinOutBufLen() override;
    int GetAuxValue() override;
    int IsCreated() override;
    void DestroyEncoder() override;
    int Encode(unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int outLen, unsigned int& consumed,
               unsigned int& written, long long& pts) override;

    /// Takes the library lock unless `lock` is 0: then the caller holds it.
    void Destroy(unsigned int lock);

private:
    // The steps of CreateEncoder. Each that fails has written its line.
    int OpenEncoder(AVCodecID id, const AUDIO_FORMAT* format);
    bool FillContext(const AVCodec* codec, AVCodecID id, const AUDIO_FORMAT* format);

    // The steps of Encode.
    unsigned int FrameSamples(unsigned int inLen) const;
    unsigned int FrameBytes(unsigned int frameSamples) const;
    void Resynchronise(long long hostPts, long long pts);
    int FillFrame(const unsigned char* in, unsigned int inLen);
    bool IsEncodable(unsigned int frameBytes) const;
    int EncodeFrame(unsigned char* out, unsigned int outLen, unsigned int frameBytes, unsigned int& consumed,
                    unsigned int& written, long long& pts);
    void TakePacket(const AVPacket& packet, unsigned int outLen, unsigned int& written, long long& pts);

    AVCodecID m_nCodecId;
    const std::string m_sName;
    int m_nBitRate = 0;
    int m_nCreated = 0;
    AVCodecContext* m_pCodecContext = nullptr;
    AVFrame* m_pFrame = nullptr;
    long long m_nNextPts = 0;
    long long m_nExpectedPts = 0;  // where the next packet ought to start; for a look with a debugger
    int m_nOpened = 0;
    long long m_nResyncThreshold = 0;
    long long m_nLastPacketPts = 0;
    PlanarStaging m_Staging;
};
