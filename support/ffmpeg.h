#pragma once

// The one door to FFmpeg's headers. The library speaks to the generation whose older interfaces are marked deprecated
// and are wanted here all the same, so the mark is taken away before the headers see it.

extern "C" {
#include <libavutil/attributes.h>
#undef attribute_deprecated
#define attribute_deprecated

#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
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
