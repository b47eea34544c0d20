#pragma once

#include "codrelay/media_ids.h"
#include "support/ffmpeg.h"

// The names by which codecs are looked up in FFmpeg. cmake/codec_survey.cpp reads them too, before anything is built.

// Indexed by id; null where the look-up fails. H.264 is encoded by OpenH264, and nothing encodes H.265.
constexpr const char* kVideoEncoderNames[] = {nullptr, "libxvid", nullptr, "flv",         "mpeg4",
                                              "h263",  "mjpeg",   "mjpeg", "libopenh264", nullptr};
constexpr const char* kVideoDecoderNames[] = {nullptr, "mpeg4", nullptr, "flv",  "mpeg4",
                                              "h263",  "mjpeg", "mjpeg", "h264", "hevc"};

struct AudioCodec {
    int id;
    AVCodecID avCodecId;
    const char* encoderName;
    const char* decoderName;
};

// Opus is not here: FFmpeg has no part in it.
constexpr AudioCodec kAudioCodecs[] = {
    {AUDIO_CODEC_AMRNB, AV_CODEC_ID_AMR_NB, "libopencore_amrnb", "libopencore_amrnb"},
    {AUDIO_CODEC_AMRWB, AV_CODEC_ID_AMR_WB, "libopencore_amrwb", "libopencore_amrwb"},
    {AUDIO_CODEC_AAC, AV_CODEC_ID_AAC, "aac", "aac"},
    {AUDIO_CODEC_MP3, AV_CODEC_ID_MP3, "libmp3lame", "mp3"},
    {AUDIO_CODEC_G726_16, AV_CODEC_ID_ADPCM_G726, "g726", "g726"},
    {AUDIO_CODEC_G726_24, AV_CODEC_ID_ADPCM_G726, "g726", "g726"},
    {AUDIO_CODEC_G726_32, AV_CODEC_ID_ADPCM_G726, "g726", "g726"},
    {AUDIO_CODEC_G726_40, AV_CODEC_ID_ADPCM_G726, "g726", "g726"},
    {AUDIO_CODEC_MULAW, AV_CODEC_ID_PCM_MULAW, "pcm_mulaw", "pcm_mulaw"},
    {AUDIO_CODEC_ALAW, AV_CODEC_ID_PCM_ALAW, "pcm_alaw", "pcm_alaw"},
    {AUDIO_CODEC_PCM_U16LE, AV_CODEC_ID_PCM_U16LE, "pcm_u16le", "pcm_u16le"},
    {AUDIO_CODEC_PCM_S16LE, AV_CODEC_ID_PCM_S16LE, "pcm_s16le", "pcm_s16le"},
    {AUDIO_CODEC_ADPCM_IMA_WAV, AV_CODEC_ID_ADPCM_IMA_WAV, "adpcm_ima_wav", "adpcm_ima_wav"},
    {AUDIO_CODEC_PCM_S16BE, AV_CODEC_ID_PCM_S16BE, "pcm_s16be", "pcm_s16be"},
};

/// What encodes H.264 where FFmpeg has no OpenH264.
constexpr const char* kH264StandIn = "libx264";

inline bool StandsInForH264() {
    return avcodec_find_encoder_by_name(kVideoEncoderNames[VIDEO_CODEC_H264]) == nullptr &&
           avcodec_find_encoder_by_name(kH264StandIn) != nullptr;
}
