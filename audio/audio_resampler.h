#pragma once

#include <cstdint>

#include "codrelay/audio_resampler.h"
#include "support/ffmpeg.h"

/// The resampler, on FFmpeg's.
class CAudioResampler : public CAudioResamplerBase {
public:
    CAudioResampler();
    /// Does not free FFmpeg's resampler. REQUIRES: Destroy() since the last Create(), or that is lost.
    ~CAudioResampler() override;
    CAudioResampler(const CAudioResampler&) = delete;
    CAudioResampler& operator=(const CAudioResampler&) = delete;

    void Delete() override;
    bool Create(const AUDIO_FORMAT* in, const AUDIO_FORMAT* out, unsigned int inBufLen,
                unsigned int& outBufLen) override;
    void Destroy() override;
    bool Resample(unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int& outLen) override;
    const AUDIO_FORMAT* GetInFormat() override;
    const AUDIO_FORMAT* GetOutFormat() override;

    /// FFmpeg's layout of one or two channels, 0 for any other number.
    static int64_t ConvertToFFmpegAudioLayout(int channels);

private:
    // One side of the conversion in FFmpeg's terms.
    struct Side {
        explicit Side(const AUDIO_FORMAT& audioFormat);
        bool IsComplete() const { return format != AV_SAMPLE_FMT_NONE && layout != 0; }
        bool NeedsSecondPlane() const { return planar && channels == 2; }

        AVSampleFormat format;
        int64_t layout;
        bool planar;
        // In the unsigned 32-bit arithmetic in which buffer lengths are computed.
        unsigned int channels;
        unsigned int sampleRate;
        unsigned int frameBytes;
        unsigned int byteRate;
    };

    // The steps of Create. Each that fails has written its line.
    bool OpenResampler(const Side& in, const Side& out);
    bool SizeBuffers(const Side& in, const Side& out, unsigned int inBufLen);

    // The samples converted, or an error of FFmpeg's.
    int Convert(const uint8_t* in, unsigned int inCount, uint8_t* out, unsigned int outCount);

    SwrContext* m_pResampler = nullptr;
    unsigned int m_nInBufLen = 0;
    unsigned int m_nOutBufLen = 0;
    unsigned int m_nInFrameBytes = 0;
    unsigned int m_nOutFrameBytes = 0;
    AUDIO_FORMAT m_InFormat{};
    AUDIO_FORMAT m_OutFormat{};
    // A second plane on either side, to which no pointer leads.
    bool m_bNeedsSecondPlane = false;
};
