#include <gmock/gmock.h>

#include <string>

#include "command.h"
#include "common/test_media.h"

using testing::HasSubstr;

namespace {

std::string TextOf(const std::string& path) {
    const std::vector<unsigned char> bytes = ReadFile(path);
    return {bytes.begin(), bytes.end()};
}

}  // namespace

TEST(ReadmeHost, StandsInTheReadmeWordForWord) {
    EXPECT_THAT(TextOf(CODRELAY_SOURCES "/README.md"),
                HasSubstr("```cpp\n" + TextOf(CODRELAY_SOURCES "/examples/decode_file.cpp") + "```\n"));
}

TEST(ReadmeHost, DecodesAFile) {
    const ProcessResult run = RunCommand(CODRELAY_EXAMPLE " " + Clip("demux_film.mp4"));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    const std::vector<std::string> lines = Lines(run.out);
    EXPECT_THAT(lines, testing::SizeIs(58));
    EXPECT_THAT(lines, testing::Each(testing::StartsWith("160 x 120 at ")));
}
