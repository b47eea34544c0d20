#pragma once

#include <vector>

#include "codrelay/muxer_param.h"
#include "support/ffmpeg.h"

/// A container by plain libavformat calls, into an output that cannot seek, such as a pipe: what the pieces of a memory
/// muxer are in a row. Every call must succeed.
class PlainMuxer {
public:
    /// In the parameters codecs are FFmpeg's ids, 0 for an absent stream.
    PlainMuxer(const char* formatName, const MUXER_PARAM& param);
    ~PlainMuxer();
    PlainMuxer(const PlainMuxer&) = delete;
    PlainMuxer& operator=(const PlainMuxer&) = delete;

    void Picture(const std::vector<unsigned char>& bytes, bool key, long long milliseconds);
    void Sound(const std::vector<unsigned char>& bytes, long long milliseconds);
    /// Writes the trailer. All bytes of the container.
    const std::vector<unsigned char>& Finish();

private:
    AVStream* NewStream(int codecId, AVMediaType type);
    void Write(AVStream* stream, long long& previous, const std::vector<unsigned char>& bytes, bool key,
               long long milliseconds);
    static int Append(void* opaque, const uint8_t* bytes, int size);

    AVFormatContext* m_pContext = nullptr;
    AVStream* m_pVideo = nullptr;
    AVStream* m_pAudio = nullptr;
    long long m_nPreviousPicture = 0;
    long long m_nPreviousSound = 0;
    std::vector<unsigned char> m_Written;
};
