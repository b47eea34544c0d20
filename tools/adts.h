#pragma once

#include <vector>

#include "codrelay/audio_format.h"

/// Puts an ADTS header before a frame of AAC (low complexity) that has none. MPEG-TS and AVI want AAC so; FLV, MP4 and
/// 3GP take the header off again and learn from it how to decode the sound, which the muxers do not tell them. False
/// where the header has no words for the rate or the channels.
bool FrameAsAdts(std::vector<unsigned char>& frame, const AUDIO_FORMAT& format);
