#pragma once

#include <memory>

#include "codrelay/export.h"
#include "codrelay/frame_buffer.h"

/// A video decoder: compressed access units in, pictures of one colour space out.
class CODRELAY_API CVideoDecoderBase {
public:
    virtual ~CVideoDecoderBase();

    virtual void Delete() = 0;
    virtual unsigned int GetSupportedColorSpaces() = 0;
    virtual unsigned int GetOutputColorSpace() = 0;
    virtual int CreateDecoder(unsigned int colorSpace, unsigned int width, unsigned int height,
                              CFrameBufferStreamCallback* callback) = 0;
    virtual void DestroyDecoder() = 0;
    virtual bool Decode(unsigned char* data, int length) = 0;
    virtual int Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame) = 0;
    virtual int Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame, long long timestamp,
                       unsigned int rateLimit) = 0;
    virtual bool AllowResolutionChange() = 0;
};
