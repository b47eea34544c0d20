#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "container/mux_script.h"
#include "container/muxer_file.h"

inline constexpr char kFlv[] = "FLV format";
inline constexpr char kTs[] = "MPEG-2 transport stream format";
inline constexpr char kAvi[] = "AVI (Audio Video Interleaved)";

inline MUXER_PARAM H264AndMp3(int bitRate, int sampleRate) {
    return {AV_CODEC_ID_H264, AV_CODEC_ID_MP3, 320, 240, sampleRate, 1, bitRate, 4};
}

inline MUXER_PARAM H264AndPcm() {
    return {AV_CODEC_ID_H264, AV_CODEC_ID_PCM_S16LE, 320, 240, 44100, 1, 705600, 4};
}

/// One muxer on a file that is removed at the end, and what it handed to libavformat.
class MuxerFile : public testing::Test {
protected:
    MuxerFile()
        : m_Path((std::filesystem::temp_directory_path() / ("codrelay-muxer-" + std::to_string(getpid()))).string()) {
        g_MuxScript = MuxScript();
        av_log_set_level(AV_LOG_QUIET);
    }
    ~MuxerFile() override {
        if (m_pMuxer != nullptr) {
            m_pMuxer->Delete();
        }
        std::filesystem::remove(m_Path);
    }

    /// A muxer whose header is written; what it writes is recorded and swallowed.
    CMuxerFile& Ready(const char* format, MUXER_PARAM param) {
        EXPECT_EQ(Created(format, param).WriteHeader(), 1);
        return *m_pMuxer;
    }
    CMuxerFile& Created(const char* format, MUXER_PARAM param) {
        m_pMuxer = new CMuxerFile;
        EXPECT_EQ(m_pMuxer->Create(m_Path.c_str(), format, &param), 1);
        return *m_pMuxer;
    }
    static std::vector<int> Sizes() {
        std::vector<int> sizes;
        for (const auto& packet : g_MuxScript.written) {
            sizes.push_back(packet.size);
        }
        return sizes;
    }
    static std::vector<long long> Times() {
        std::vector<long long> times;
        for (const auto& packet : g_MuxScript.written) {
            times.push_back(packet.pts);
        }
        return times;
    }

    std::string m_Path;
    CMuxerFile* m_pMuxer = nullptr;
    std::vector<unsigned char> m_Bytes = PictureBytes(8192);
};
