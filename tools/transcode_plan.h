#pragma once

#include <optional>
#include <string>

#include "container_writer.h"
#include "input_survey.h"
#include "picture_encoder.h"
#include "video_input.h"

struct TranscodeOptions {
    VideoInputOptions input;
    std::string out;
    std::string format;
    /// What the progress bar says.
    std::string label = "transcoding";
    /// A codec's name, "copy" or "none".
    std::string video = "h264";
    /// The same; empty for MP3 where the sound can be decoded, and none where it cannot.
    std::string audio;
    /// Whether through the memory muxer; where that is not told, through the one that keeps the sound in time.
    std::optional<bool> onMemory;
    std::optional<PictureSize> size;
    unsigned int frameRate = 0;
    unsigned int videoBitRate = 0;
    unsigned int audioBitRate = 128000;
    int keyInterval = -1;
};

/// What becomes of a stream.
enum class Treatment { None, Copy, Encode };

/// All that is settled before the first packet is read.
struct TranscodePlan {
    Treatment video = Treatment::None;
    StreamInfo videoStream{};
    PictureSize inSize;
    EncoderSetup encoder;
    Treatment sound = Treatment::None;
    StreamInfo soundStream{};
    /// Of the samples that the decoder gives.
    AUDIO_FORMAT decodedSound{};
    /// Why there is no sound although nobody asked for that; mostly empty.
    std::string soundLeftOut;
    ContainerSetup container;
};

/// What cannot be done right is a `Failure`.
TranscodePlan PlanTranscode(LibrarySession& session, const TranscodeOptions& options);
