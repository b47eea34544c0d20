#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <sstream>

#include "codrelay/media_ids.h"
#include "common/test_media.h"
#include "container/demuxer_file.h"
#include "container/recording_callback.h"
#include "support/ffmpeg.h"

namespace {

// What the list of real files says of one: for each stream, how many packets, and the first and last time in
// milliseconds, such as "0:30; 1:45" and "0:0..934; 1:43..1065", or "0:none" where there are no times.
struct ListedFile {
    std::string name;
    std::string container;
    std::string packets;
    std::string times;
};

void PrintTo(const ListedFile& file, std::ostream* out) {
    *out << file.name;
}

std::vector<std::string> SplitAtTabs(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream text(line);
    for (std::string field; std::getline(text, field, '\t');) {
        fields.push_back(field);
    }
    return fields;
}

bool TellsItsFormat(const ListedFile& file) {
    return file.container != "g726" && file.container != "alaw";
}

// A single nameless file stands for a list that is not there.
std::vector<ListedFile> ListedFiles() {
    std::vector<ListedFile> files;
    std::ifstream list(RealFile("MANIFEST.tsv").value_or(""));
    std::string line;
    std::getline(list, line);
    while (std::getline(list, line)) {
        const std::vector<std::string> fields = SplitAtTabs(line);
        files.push_back({fields.at(0), fields.at(7), fields.at(9), fields.at(10)});
    }
    files.erase(std::remove_if(files.begin(), files.end(), [](const auto& file) { return !TellsItsFormat(file); }),
                files.end());
    return files.empty() ? std::vector<ListedFile>(1) : files;
}

struct StreamFacts {
    int packets = 0;
    long long first = 0;
    long long last = 0;
};

std::map<int, StreamFacts> Summary(const std::vector<PacketFacts>& packets) {
    std::map<int, StreamFacts> streams;
    for (const PacketFacts& packet : packets) {
        StreamFacts& stream = streams[packet.stream];
        stream.first = stream.packets == 0 ? packet.pts : stream.first;
        stream.last = packet.pts;
        ++stream.packets;
    }
    return streams;
}

std::string TimesText(const StreamFacts& stream) {
    if (stream.first == AV_NOPTS_VALUE && stream.last == AV_NOPTS_VALUE) {
        return "none";
    }
    return std::to_string(stream.first) + ".." + std::to_string(stream.last);
}

class RealFiles : public testing::TestWithParam<ListedFile> {};

std::string NameOf(const testing::TestParamInfo<ListedFile>& info) {
    std::string name = info.param.name.empty() ? "None" : info.param.name;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

}  // namespace

TEST_P(RealFiles, HavePacketsAndTimesAsListed) {
    if (GetParam().name.empty()) {
        GTEST_SKIP() << "the real files are not here";
    }
    RecordingCallback callback;
    CDemuxerFile demuxer;
    ASSERT_TRUE(demuxer.Open(RealFile(GetParam().name).value_or("").c_str(), &callback));
    while (demuxer.ReadNextFrame() == 1) {
    }
    std::string packets;
    std::string times;
    for (const auto& [index, stream] : Summary(callback.packets)) {
        const std::string prefix = (packets.empty() ? "" : "; ") + std::to_string(index) + ":";
        packets += prefix + std::to_string(stream.packets);
        times += prefix + TimesText(stream);
    }
    EXPECT_EQ(packets, GetParam().packets);
    EXPECT_EQ(times, GetParam().times);
}

INSTANTIATE_TEST_SUITE_P(Listed, RealFiles, testing::ValuesIn(ListedFiles()), NameOf);

// From FFmpeg 5 on its decoders of AMR have planes, of which there is one: a host is told the same bytes as ever.
TEST(RealFilesOfAmr, TellPackedSamples) {
    const std::optional<std::string> file = RealFile("amr/sample_wb.amr");
    if (!file) {
        GTEST_SKIP() << "the real files are not here";
    }
    RecordingCallback callback;
    CDemuxerFile demuxer;
    ASSERT_TRUE(demuxer.Open(file->c_str(), &callback));
    int codec = 0;
    AUDIO_FORMAT format{};
    ASSERT_TRUE(demuxer.GetAudioStreamInfo(0, &codec, &format));
    EXPECT_EQ(codec, AUDIO_CODEC_AMRWB);
    EXPECT_EQ(format.sampleFormat, AUDIO_SAMPLE_FLT);
}
