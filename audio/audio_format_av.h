#pragma once

#include "codrelay/audio_format.h"
#include "support/ffmpeg.h"

/// The `AUDIO_SAMPLE_*` flag of a sample format, 0 for a format without one: none, and 64-bit integers.
int AudioFormatFromAv(AVSampleFormat format);

/// The sample format of one `AUDIO_SAMPLE_*` flag, AV_SAMPLE_FMT_NONE for anything else, sets of flags included.
AVSampleFormat AudioFormatToAv(int flag);
