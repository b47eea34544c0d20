#pragma once

#include <memory>

#include "codrelay/video_decoder.h"
#include "support/ffmpeg.h"
#include "video_decoder/decoder_csp_transform.h"
#include "video_decoder/frame_pool.h"
#include "video_decoder/stat_helper.h"

/// The FFmpeg software decoder. Delivers one colour space, fixed when it is built.
class CVideoDecoder : public CVideoDecoderBase {
public:
    CVideoDecoder(AVCodecID codecId, const char* codecName, unsigned int colorSpace, AVPixelFormat pixFmt);
    ~CVideoDecoder() override;

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
};
