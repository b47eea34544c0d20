#pragma once

#include <vector>

#include "codrelay/utils/threads.h"
#include "support/ffmpeg.h"

/// The one point of contact with FFmpeg's global state. The object itself is the library lock: it serialises all that
/// opens or closes a codec. None of the operations here takes it; whoever needs it holds it already.
class CMainFFmpegLib : public utils::ThreadMutex {
public:
    /// Registers FFmpeg and writes what it offers to the log. A second call does the same again and no harm.
    void InitCodecLib();

    /// The listings, one line an item at Trace.
    void EnumSupportedCodecs();
    void EnumSupportedOutFormats();
    void EnumSupportedInputFormats();

    /// The codec of that name, tested against the id; null and a log line where there is none or it is another's.
    /// `encoder` is nonzero for an encoder, 0 for a decoder.
    FfmpegCodec* FindCodec(AVCodecID id, const char* name, unsigned int encoder);
    /// The format with exactly that long name, or null. Silent. Null for a null name.
    FfmpegOutFormat* FindOutFormat(const char* longName);
    FfmpegInFormat* FindInFormat(const char* longName);

    /// The ids of all encoders in FFmpeg's order. An id with several encoders stands there several times.
    std::vector<AVCodecID> GetFfmpegSupportedVideoEncoders() const;
    std::vector<AVCodecID> GetFfmpegSupportedAudioEncoders() const;
};

/// The one instance; never null, usable from the library's load until it is unloaded, and to the last of a process that
/// ends: a host's own statics may close codecs then.
CMainFFmpegLib* GetMainFfmpegCodecLib();

/// `InitCodecLib` on the one instance.
void InitFfmpegCodecLib();
