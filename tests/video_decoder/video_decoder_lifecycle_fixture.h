#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/log_capture.h"
#include "common/test_media.h"
#include "video_decoder/access_units.h"
#include "video_decoder/test_decoder.h"

inline LoggedLine CreateLine(const std::string& rest) {
    return Ffmpeg(uvqlog::Severity::Info, "CVideoDecoder::CreateDecoder: " + rest);
}

inline const LoggedLine kMjpegLine = CreateLine("mjpeg width = 320 height = 240");
inline const LoggedLine kCreateFirst =
    Ffmpeg(uvqlog::Severity::Error, "CVideoDecoder::Decode: You should create first!");
inline const LoggedLine kOutOfFrames =
    Ffmpeg(uvqlog::Severity::Critical, "CVideoDecoder::Decode: frame pool is out of frames!");

inline constexpr DecoderFormat kJpeg420{CSP_YUV420P, AV_PIX_FMT_YUVJ420P};

/// 50 pictures of 320x240, each in a packet of its own.
class VideoDecoderLifecycle : public testing::Test {
protected:
    VideoDecoderLifecycle() : m_Units(AccessUnits(Clip("mjpeg.avi"))) {}

    int DecodeOne() { return m_Decoder.Decode(m_Units[0], m_Frame); }

    std::vector<AccessUnit> m_Units;
    TestDecoder m_Decoder{kMjpeg, kJpeg420};
    Frame m_Frame;
    LogCapture m_Log;
};
