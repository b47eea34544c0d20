#pragma once

#include "support/ffmpeg.h"

/// Turns a packet of x264's into what OpenH264 would have written: each NAL unit stands behind a start code of four
/// bytes, where x264 has some of three, and the message (SEI) in which x264 tells its version is left out.
///
/// With `out` null nothing is written. Gives the number of bytes either way.
int CopyAsOpenH264(const AVPacket& packet, unsigned char* out);
