#pragma once

#include <vector>

#include "codrelay/ffmpeg_vocabulary.h"
#include "codrelay/media_ids.h"
#include "support/ffmpeg.h"

// The inner side of the tables: what the host does not need to ask.

/// FFmpeg's ids of the video codecs from VIDEO_CODEC_FLV to VIDEO_CODEC_H265; the index is the id minus 3.
extern const int VideoCodecToAvCodecId[7];

/// The words for the video ids 0 to 9 in log lines.
extern const char* const VideoCodecLogName[10];

/// The library's id for a codec that FFmpeg names, VIDEO_CODEC_NONE where there is none. JPEG comes back as
/// VIDEO_CODEC_MJPEG.
int VideoCodecFromAvCodecId(AVCodecID id);

/// FFmpeg's id of an audio codec, AV_CODEC_ID_NONE where there is none.
AVCodecID AudioCodecToAvCodecId(int id);

/// The library's ids for an audio codec that FFmpeg names: one, none, or the four of G.726, whose bit rate FFmpeg's id
/// does not tell.
std::vector<int> AudioCodecsFromAvCodecId(AVCodecID id);
