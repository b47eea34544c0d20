#pragma once

#include <string>
#include <vector>

#include "support/ffmpeg.h"

/// What FFmpeg shall answer, and what it was asked, while a script lives. For test programs that wrap
/// avcodec_alloc_context3, avcodec_open2, avcodec_close, av_frame_alloc, av_frame_free and avcodec_send_packet.
class OpeningScript {
public:
    OpeningScript();
    ~OpeningScript();
    OpeningScript(const OpeningScript&) = delete;
    OpeningScript& operator=(const OpeningScript&) = delete;
    static OpeningScript* Current();

    bool noContext = false;
    bool noFrame = false;
    int openResult = 0;  ///< negative: what avcodec_open2 fails with

    /// The fields of the last context at the door of avcodec_open2.
    AVCodecContext asked{};
    bool optionsGiven = false;
    std::vector<std::string> calls;
    std::vector<bool> lockHeld;

    void Note(const char* call);
};

/// The library lock is recursive, so only another thread can tell.
bool LibraryLockIsHeldElsewhere();
