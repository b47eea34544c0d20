#pragma once

#include <codrelay/muxer_param.h>

#include "container_writer.h"

// What the writers over both muxers have in common.

/// `cuttingRate` is the bit rate that makes the muxer cut MP3 where its frames end.
MUXER_PARAM MuxerParam(const ContainerSetup& setup, int cuttingRate);

/// A `Failure` for an MP3 frame that is not as long as the others: the muxers would cut it short.
void CheckMp3Frame(const ContainerSetup& setup, const MediaPacket& packet);

[[noreturn]] void FailOnHeader(const ContainerSetup& setup);
[[noreturn]] void FailOnPacket(const ContainerSetup& setup, const MediaPacket& packet);
[[noreturn]] void FailOnTrailer(const ContainerSetup& setup);
