#pragma once

#include <codrelay/muxer_param.h>

#include "container_writer.h"

// What the writers over both muxers have in common.

/// AVI has a clock for its sound, of bit rate / 8 ticks a second, and a frame of AAC lasts one: 1024 samples.
constexpr int kAacRateStep = 1024 / 8;

/// `mp3BitRate` is the one that makes the muxer cut MP3 where its frames end.
MUXER_PARAM MuxerParam(const ContainerSetup& setup, int mp3BitRate);

/// A `Failure` for an MP3 frame that is not as long as the others: the muxers would cut it short.
void CheckMp3Frame(const ContainerSetup& setup, const MediaPacket& packet);

[[noreturn]] void FailOnHeader(const ContainerSetup& setup);
[[noreturn]] void FailOnPacket(const ContainerSetup& setup, const MediaPacket& packet);
[[noreturn]] void FailOnTrailer(const ContainerSetup& setup);
