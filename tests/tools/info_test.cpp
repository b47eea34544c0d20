#include <codrelay/library.h>
#include <gmock/gmock.h>

#include <set>
#include <string>
#include <vector>

#include "command.h"

using testing::Each;
using testing::ElementsAre;
using testing::MatchesRegex;

namespace {

/// The lines below the head that begins so, up to the next empty line.
std::vector<std::string> Section(const std::string& text, const std::string& head) {
    std::vector<std::string> lines;
    bool inside = false;
    for (const std::string& line : Lines(text)) {
        if (inside && line.empty()) {
            break;
        }
        if (inside) {
            lines.push_back(line);
        }
        inside = inside || line.rfind(head + "\t", 0) == 0;
    }
    return lines;
}

std::set<int> Ids(const std::vector<std::string>& rows) {
    std::set<int> ids;
    for (const std::string& row : rows) {
        ids.insert(std::stoi(row));
    }
    return ids;
}

class Info : public testing::Test {
protected:
    const ProcessResult m_Run = RunCodrelay("info");
};

}  // namespace

TEST_F(Info, BeginsWithTheLibrarysVersion) {
    EXPECT_EQ(m_Run.exitCode, 0);
    EXPECT_EQ(m_Run.err, "");
    EXPECT_EQ(Lines(m_Run.out).front(), "codrelay 1.0.0");
}

auto OfMajors(int util, int codec, int format, int filter, int scale, int resample) {
    const auto line = [](const std::string& library, int major) {
        const std::string version = "\t" + std::to_string(major) + "\\.[0-9.]+";
        return MatchesRegex(library + version + version);
    };
    return ElementsAre(line("libavutil", util), line("libavcodec", codec), line("libavformat", format),
                       line("libavfilter", filter), line("libswscale", scale), line("libswresample", resample));
}

TEST_F(Info, TellsEachFfmpegLibraryAsCompiledAndAsLoaded) {
    // FFmpeg 4, 5.1 and 7.
    EXPECT_THAT(
        Section(m_Run.out, "FFmpeg library"),
        testing::AnyOf(OfMajors(56, 58, 58, 7, 5, 3), OfMajors(57, 59, 59, 8, 6, 4), OfMajors(59, 61, 61, 10, 8, 5)));
}

TEST_F(Info, ListsTheEncodersThatTheLibraryTells) {
    Codrelay_Create(nullptr);
    EXPECT_EQ(Ids(Section(m_Run.out, "video encoder")), Codrelay_GetSupportedVideoEncoders());
    EXPECT_EQ(Ids(Section(m_Run.out, "audio encoder")), Codrelay_GetSupportedAudioEncoders());
    Codrelay_Destroy();
}

TEST_F(Info, NamesEachEncoder) {
    EXPECT_THAT(Section(m_Run.out, "video encoder"),
                Each(MatchesRegex("3\tflv|4\tmpeg4|5\th263|7\tmjpeg|8\th264|9\th265")));
    EXPECT_THAT(Section(m_Run.out, "audio encoder"),
                testing::IsSupersetOf({"0\tamrnb", "3\taac", "4\tmp3", "501\tpcm_s16be"}));
}

TEST_F(Info, TellsWhichMuxersAndMemoryDemuxersThereAre) {
    EXPECT_THAT(Section(m_Run.out, "muxer"),
                ElementsAre("1\tFLV format\tyes", "2\tMP4 (MPEG-4 Part 14)\tyes", "3\tWebM file format\tyes",
                            "4\t3GP format\tyes", "5\t3GP2 format\tyes", "6\tAVI (Audio Video Interleaved)\tyes",
                            "7\tMPEG-2 transport stream format\tyes"));
    EXPECT_THAT(Section(m_Run.out, "memory demuxer"), ElementsAre("1\tWAV format\tyes", "2\tASF format\tyes"));
}
