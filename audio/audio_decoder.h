#pragma once

#include <cstdint>
#include <string>

#include "codrelay/audio_decoder.h"
#include "support/ffmpeg.h"

/// The FFmpeg audio decoder.
class CAudioDecoder : public CAudioDecoderBase {
public:
    /// `id` is the library's. `name` may be null; at most 128 bytes of it are kept.
    CAudioDecoder(int id, const char* name);
    /// Does not close FFmpeg's decoder. REQUIRES: DestroyDecoder() since the last CreateDecoder(), or that is lost.
    ~CAudioDecoder() override;
    CAudioDecoder(const CAudioDecoder&) = delete;
    CAudioDecoder& operator=(const CAudioDecoder&) = delete;

    void Delete() override;
    bool CreateDecoder(int channels, int sampleRate, int& sampleFormat, unsigned char* extraData,
                       unsigned int extraDataLen) override;
    void DestroyDecoder() override;
    int GetMinOutBufLen() override;
    int Decode(unsigned char* in, unsigned int inLen, short* out, unsigned int outLen, unsigned int& consumed,
               unsigned int& written) override;

    /// Takes the library lock unless `lock` is 0: then the caller holds it.
    void Destroy(unsigned int lock);

    /// The MPEG-4 sampling frequency index, 0 with a line in the log for a rate without one.
    static int GetMpegIndexFromSampleRate(int sampleRate);

private:
    // The steps of CreateDecoder. Each that fails has written its line.
    bool AllocatePacket();
    bool OpenDecoder(AVCodecID codecId, int channels, int sampleRate, int& sampleFormat);
    FfmpegCodec* FindDecoder(AVCodecID codecId) const;
    bool AllocateContext(const AVCodec* codec, int channels, int sampleRate);
    bool ConfigureCodec(AVCodecID codecId, int channels);
    bool ConfigureAac(int channels);
    bool OpenContext(const AVCodec* codec);
    bool CreateResampler(AVSampleFormat packed, int channels, int sampleRate);
    void Release();
    void CloseContext();

    // The steps of Decode.
    bool HasFrame();
    int DecodePacket(short* out, int& outLen);
    int DrainFrames(uint8_t* out, int& outLen);
    int CopyOutFrame(uint8_t*& out, int& outLen);
    int Resample(uint8_t* out);
    void DropFrames();

    int m_nId;
    const std::string m_sName;
    bool m_bCreated = false;
    AVCodecContext* m_pCodecContext = nullptr;
    AVPacket* m_pPacket = nullptr;
    AVFrame* m_pFrame = nullptr;
    bool m_bOpened = false;
    unsigned char* m_pAacConfig = nullptr;
    SwrContext* m_pResampler = nullptr;
    // What the resampler reads from a frame, whatever the stream turns into.
    int m_nResamplerChannels = 0;
    AVSampleFormat m_nResamplerFormat = AV_SAMPLE_FMT_NONE;
};
