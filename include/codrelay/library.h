#pragma once

#include <set>
#include <string>

#include "codrelay/export.h"

/// Exists in name only; pass null or any object.
class CodrelayCallback {};

CODRELAY_API int Codrelay_Create(CodrelayCallback* callback);
CODRELAY_API void Codrelay_Destroy();
CODRELAY_API std::set<int> Codrelay_GetSupportedVideoEncoders();
CODRELAY_API std::set<int> Codrelay_GetSupportedAudioEncoders();
CODRELAY_API std::set<int> Codrelay_GetSupportedVideoHwAccel();
CODRELAY_API void Codrelay_SetFfmpegLogLevel(const std::string& level);
