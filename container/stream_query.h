#pragma once

#include "codrelay/audio_format.h"
#include "support/ffmpeg.h"

// What both demuxers tell of a stream. A context that is null and an index that is not there count as a stream of no
// kind.

/// The parameters of the stream, or null. They are filled right after the open, while the stream's
/// parameters may still change.
StreamParameters* StreamCodec(const AVFormatContext* context, int index);

/// The number of streams.
int StreamCount(const AVFormatContext* context);

/// 1 for video, 2 for audio, 0 for anything else.
int StreamType(const AVFormatContext* context, int index);

/// The library's codec id of a video stream, -1 for a codec without one. False, and nothing stored, for other streams.
bool VideoStreamInfo(const AVFormatContext* context, int index, int* codecId);

/// The library's codec id of an audio stream, -1 for a codec without one, and its format, 0 for a sample format without
/// a flag. False, and nothing stored, for other streams.
bool AudioStreamInfo(const AVFormatContext* context, int index, int* codecId, AUDIO_FORMAT* format);
