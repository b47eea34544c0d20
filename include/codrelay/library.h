#pragma once

/// @file
/// The start of the library, and what it can tell of its FFmpeg.

#include <set>
#include <string>

#include "codrelay/built_with.h"
#include "codrelay/export.h"

/// Exists in name only; pass null or any object.
class CodrelayCallback {};

/// Starts the library: registers FFmpeg and, where Trace is on for the logger "ffmpeg", lists there what it offers, a
/// line for each codec and each format. Call it once, before anything else of the library, after the log has been set
/// up; a second call repeats the work and does no harm. `callback` is not used.
///
///     uvqlog::SetThreshold("ffmpeg", uvqlog::Severity::Error);
///     Codrelay_Create(nullptr);
///     ...
///     Codrelay_Destroy();
///
/// Returns 1, always.
CODRELAY_API int Codrelay_Create(CodrelayCallback* callback);

/// The end of the host's use of the library. A formality: nothing happens, and objects still alive stay usable.
CODRELAY_API void Codrelay_Destroy();

/// The `VIDEO_CODEC_*` ids for which the FFmpeg at hand has an encoder; VIDEO_CODEC_JPEG is covered by
/// VIDEO_CODEC_MJPEG and never in it. An encoder in this list need not be the one that the library would use: H.265
/// may stand here though the library cannot encode it. Takes the library lock for a moment; safe from any thread.
CODRELAY_API std::set<int> Codrelay_GetSupportedVideoEncoders();
/// The `AUDIO_CODEC_*` ids for which the FFmpeg at hand has an encoder; the four of G.726 come together. Takes the
/// library lock for a moment; safe from any thread.
CODRELAY_API std::set<int> Codrelay_GetSupportedAudioEncoders();
/// Always empty: there is no hardware acceleration.
CODRELAY_API std::set<int> Codrelay_GetSupportedVideoHwAccel();

/// Sets the threshold of the messages that FFmpeg itself writes to stderr; the library's own log is not touched.
/// `level` is "trace", "debug", "verbose", "info", "warning", "error", "fatal", "panic" or "quiet", in lower case;
/// any other text changes nothing. For the whole process. Safe from any thread.
CODRELAY_API void Codrelay_SetFfmpegLogLevel(const std::string& level);
