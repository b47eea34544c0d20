#pragma once

#include "codrelay/media_ids.h"
#include "support/ffmpeg.h"

#include "codrelay/ffmpeg_vocabulary.h"

/// FFmpeg's ids of the video codecs from VIDEO_CODEC_FLV to VIDEO_CODEC_H265; the index is the id minus 3.
extern const int VideoCodecToAvCodecId[7];

/// The words for the video ids 0 to 9 in log lines.
extern const char* const VideoCodecLogName[10];
