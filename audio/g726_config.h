#pragma once

#include "support/ffmpeg.h"

/// Sets a decoder up for one of the four G.726 ids: the rate is always 8000, the id tells the bits. False, with a line
/// in the log, for another id.
bool ConfigureG726(int id, AVCodecContext* context);
