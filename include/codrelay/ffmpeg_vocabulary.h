#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixfmt.h>
}

#include "codrelay/export.h"

CODRELAY_API const char* GetMuxerFormatName(int id);
CODRELAY_API const char* GetFFmpegVideoEncoderName(int id);
CODRELAY_API const char* GetFFmpegVideoDecoderName(int id);
CODRELAY_API const char* GetFFmpegAudioEncoderName(int id);
CODRELAY_API const char* GetFFmpegAudioDecoderName(int id);
CODRELAY_API AVPixelFormat GetFFmpegPixelFormat(int colorSpace);
CODRELAY_API AVPixelFormat GetFFmpegPixelFormat(AVCodecID codec, int colorSpace);
CODRELAY_API unsigned int GetInternalPixelFormat(AVPixelFormat format);
CODRELAY_API int GetCspForHwFFmpegPixelFormat(AVPixelFormat format);
