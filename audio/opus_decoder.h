#pragma once

#include <memory>

#include "codrelay/audio_decoder.h"

/// Decodes Opus by libopus. Logs nothing and takes no lock.
class COpusDecoder : public CAudioDecoderBase {
public:
    COpusDecoder();
    ~COpusDecoder() override;
    COpusDecoder(const COpusDecoder&) = delete;
    COpusDecoder& operator=(const COpusDecoder&) = delete;

    void Delete() override;
    bool CreateDecoder(int channels, int sampleRate, int& sampleFormat, unsigned char* extraData,
                       unsigned int extraDataLen) override;
    void DestroyDecoder() override;
    int GetMinOutBufLen() override;
    int Decode(unsigned char* in, unsigned int inLen, short* out, unsigned int outLen, unsigned int& consumed,
               unsigned int& written) override;

    bool IsCreated() const;

private:
    struct COpusDecoderImpl;
    std::unique_ptr<COpusDecoderImpl> m_pImpl;
};
