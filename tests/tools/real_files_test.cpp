#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "command.h"
#include "common/test_media.h"

namespace {

/// One line of the list that stands beside the real files.
struct RealClip {
    std::string file;
    std::string streams;
    std::string packets;
    std::string times;
    std::string bareDecoder;
};

void PrintTo(const RealClip& clip, std::ostream* out) {
    *out << clip.file;
}

std::vector<RealClip> ReadManifest() {
    const auto path = RealFile("MANIFEST.tsv");
    std::vector<RealClip> clips;
    if (path) {
        std::ifstream manifest(*path);
        std::string line;
        std::getline(manifest, line);
        while (std::getline(manifest, line)) {
            const std::vector<std::string> fields = Fields(line);
            clips.push_back({fields.at(0), fields.at(8), fields.at(9), fields.at(10), fields.at(13)});
        }
    }
    return clips;
}

/// Raw telephone audio says nothing of itself and is no container.
bool IsContainer(const RealClip& clip) {
    return clip.file.rfind("g726/", 0) != 0;
}

/// "0:30; 1:45" by stream.
std::map<std::string, std::string> ByStream(const std::string& text) {
    std::map<std::string, std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ';');) {
        part.erase(0, part.find_first_not_of(' '));
        const std::size_t colon = part.find(':');
        parts[part.substr(0, colon)] = part.substr(colon + 1);
    }
    return parts;
}

/// The number and the description of the first video stream that the library decodes, or two empty strings.
std::pair<std::string, std::string> DecodableVideo(const RealClip& clip) {
    for (const auto& [number, description] : ByStream(clip.streams)) {
        for (const char* codec : {"h264", "hevc", "mpeg4", "mjpeg", "flv1", "h263"}) {
            if (description.rfind("video " + std::string(codec) + " ", 0) == 0) {
                return {number, description};
            }
        }
    }
    return {};
}

/// What a file needs to be told.
std::string Options(const std::string& file) {
    if (file == "h264/Error_I_P.264") {
        return " --allow-resize";
    }
    return file == "mp4/bbb_176x144_192kbps_15fps_mpeg4.mp4" ? " --frame-size 176x144" : "";
}

std::string TestName(const testing::TestParamInfo<RealClip>& info) {
    std::string name = info.param.file;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

std::vector<RealClip> Containers() {
    std::vector<RealClip> clips = ReadManifest();
    clips.erase(std::remove_if(clips.begin(), clips.end(), [](const RealClip& clip) { return !IsContainer(clip); }),
                clips.end());
    return clips;
}

std::vector<RealClip> Videos() {
    std::vector<RealClip> clips = Containers();
    clips.erase(std::remove_if(clips.begin(), clips.end(),
                               [](const RealClip& clip) { return DecodableVideo(clip).first.empty(); }),
                clips.end());
    return clips;
}

class RealContainer : public testing::TestWithParam<RealClip> {};
class RealVideo : public testing::TestWithParam<RealClip> {};

// Without the files there is nothing to instantiate.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealContainer);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealVideo);

}  // namespace

TEST(RealFiles, AreAtHand) {
    if (!RealFile("MANIFEST.tsv")) {
        GTEST_SKIP() << "no real files here";
    }
    EXPECT_GE(Containers().size(), 25u);
    EXPECT_GE(Videos().size(), 15u);
}

TEST_P(RealContainer, HasThePacketsAndTimesOfTheList) {
    const ProcessResult run = RunCodrelay("probe " + Quoted(*RealFile(GetParam().file)));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto packets = ByStream(GetParam().packets);
    const auto times = ByStream(GetParam().times);
    const std::vector<std::string> rows = Lines(run.out);
    ASSERT_EQ(rows.size(), packets.size() + 1);
    for (std::size_t i = 1; i < rows.size(); ++i) {
        const std::vector<std::string> fields = Fields(rows[i]);
        EXPECT_EQ(fields.at(6), packets.at(fields[0])) << rows[i];
        EXPECT_EQ(fields.at(7) == "-" ? "none" : fields.at(7) + ".." + fields.at(8), times.at(fields[0])) << rows[i];
    }
}

TEST_P(RealVideo, GivesThePicturesOfTheList) {
    const auto [number, description] = DecodableVideo(GetParam());
    const std::string expected = ByStream(GetParam().bareDecoder).at(number);
    const ProcessResult run =
        RunCodrelay("decode --hashes " + Quoted(*RealFile(GetParam().file)) + Options(GetParam().file));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::vector<std::string> total = Fields(Lines(run.out).back());
    EXPECT_EQ(total.at(0), expected.substr(0, expected.find(' ')));
    // Other layouts than 4:2:0 are converted, so only their number is comparable.
    if (description.find("420p") != std::string::npos) {
        EXPECT_EQ("sha1=" + total.at(1), expected.substr(expected.find("sha1=")));
    }
}

INSTANTIATE_TEST_SUITE_P(List, RealContainer, testing::ValuesIn(Containers()), TestName);
INSTANTIATE_TEST_SUITE_P(List, RealVideo, testing::ValuesIn(Videos()), TestName);
