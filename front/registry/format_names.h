#pragma once

#include "support/ffmpeg.h"

/// The long names by which hosts know FFmpeg's formats. Seven formats bear another name here than FFmpeg gives them; of
/// those, muxers and demuxers are told apart. Null where FFmpeg gives none.
const char* LongNameOf(const AVOutputFormat* format);
const char* LongNameOf(const AVInputFormat* format);
