#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "codrelay/audio_format.h"

/// FFmpeg's word for an `AUDIO_SAMPLE_*` flag, such as "s16" or "fltp"; "-" for a format that is not known.
std::string SampleFormatName(int flag);

/// The formats that --format takes.
std::vector<std::string> WavSampleFormatNames();
/// REQUIRES: `name` is one of WavSampleFormatNames().
int SampleFormatOfName(const std::string& name);

/// The bytes of one sample of every channel. REQUIRES: the format is interleaved.
std::size_t GroupBytes(const AUDIO_FORMAT& format);
