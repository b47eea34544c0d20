#pragma once

#include <memory>
#include <vector>

#include "benchmarks/clip.h"
#include "codrelay/frame_buffer.h"
#include "codrelay/video_decoder.h"
#include "support/ffmpeg.h"
#include "support/scaler.h"

/// Decodes into a buffer that is reused, by FFmpeg's calls alone.
class PlainDecoder {
public:
    /// Pictures come as the decoder makes them, or as RGB24.
    PlainDecoder(const Clip& clip, bool rgb);
    ~PlainDecoder();
    PlainDecoder(const PlainDecoder&) = delete;
    PlainDecoder& operator=(const PlainDecoder&) = delete;

    /// The count of pictures that came.
    int Decode(ClipPacket& packet);

private:
    void CopyOut();
    void Convert();

    AVCodecContext* m_pContext;
    AVFrame* m_pFrame = av_frame_alloc();
    ScalerPtr m_Scaler;
    bool m_bRgb;
    std::vector<unsigned char> m_Picture;
};

/// The same by the library. Each picture is let go before the next is asked for.
class LibraryDecoder {
public:
    LibraryDecoder(const Clip& clip, bool rgb);
    ~LibraryDecoder();
    LibraryDecoder(const LibraryDecoder&) = delete;
    LibraryDecoder& operator=(const LibraryDecoder&) = delete;

    int Decode(ClipPacket& packet);

private:
    CVideoDecoderBase* m_pDecoder;
    std::shared_ptr<CFrameBufferBase> m_pPicture;
};
