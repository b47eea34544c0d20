#pragma once

/// @file
/// Includes every header of the library but "codrelay/ffmpeg_vocabulary.h".

#include "codrelay/audio_decoder.h"
#include "codrelay/audio_encoder.h"
#include "codrelay/audio_format.h"
#include "codrelay/audio_resampler.h"
#include "codrelay/demuxer_packet.h"
#include "codrelay/export.h"
#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/file_muxer.h"
#include "codrelay/frame_buffer.h"
#include "codrelay/library.h"
#include "codrelay/media_ids.h"
#include "codrelay/memory_demuxer.h"
#include "codrelay/memory_muxer.h"
#include "codrelay/muxer_param.h"
#include "codrelay/utils/clock.h"
#include "codrelay/utils/noncopyable.h"
#include "codrelay/utils/strings.h"
#include "codrelay/utils/threads.h"
#include "codrelay/utils/time.h"
#include "codrelay/video_decoder.h"
#include "codrelay/video_encoder.h"
#include "codrelay/video_transform.h"
