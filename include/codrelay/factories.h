#pragma once

#include <string>

#include "codrelay/export.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/video_decoder.h"

CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder(int id, const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H264(const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H265(const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_JPEG();
CODRELAY_API CVideoDecoderBase* HwAccelVideoDecoder_H264(const std::string& options);

/// A demuxer for files. `format` is ignored: the format is found by looking at the file. Never null. The caller owns the
/// object and disposes of it by `delete`.
CODRELAY_API CDemuxerFileBase* Codrelay_DemuxerFile(int format);
