#pragma once

// The one door to FFmpeg's headers, and the one place that tells its generations apart. The reference is FFmpeg 4.3
// (libavcodec 58), whose older interfaces are marked deprecated and are wanted here all the same, so the mark is taken
// away before the headers see it.

extern "C" {
#include <libavutil/attributes.h>
#undef attribute_deprecated
#define attribute_deprecated

#include <libavcodec/avcodec.h>
#if __has_include(<libavcodec/bsf.h>)
#include <libavcodec/bsf.h>
#endif
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

// Both files offer the same names, each for its generations.
#if LIBAVCODEC_VERSION_MAJOR < 59
#include "support/ffmpeg_generation_4.h"
#else
#include "support/ffmpeg_generation_5.h"
#endif
