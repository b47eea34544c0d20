#pragma once

/// @file
/// What muxers are made for.

/// What a muxer is made for. A plain record; the muxer copies it whole.
struct MUXER_PARAM {
    /// A `VIDEO_CODEC_*` id from 3 to 9; any other means that there is no video stream.
    int videoCodec;
    /// An `AUDIO_CODEC_*` id that FFmpeg has a codec for; any other means that there is no audio stream.
    int audioCodec;
    /// Picture width in pixels.
    int width;
    /// Picture height in pixels.
    int height;
    /// Samples per second and channel. AAC with ADTS tells FLV, MP4 and 3GP its own rate and channels as well.
    int sampleRate;
    /// Channels of the sound.
    int channels;
    /// Bits per second. With MP3 it decides how blocks are cut into frames (see `WriteSound`, which differs from muxer
    /// to muxer). In AVI all other sound runs by it, and it tells the four codecs of G.726 apart.
    int audioBitRate;
    /// Expected length in whole seconds; a hint for the container.
    int durationSec;
};
