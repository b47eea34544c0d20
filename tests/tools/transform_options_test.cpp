#include <codrelay/factories.h>
#include <codrelay/media_ids.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "command.h"
#include "common/test_media.h"

using testing::Each;
using testing::SizeIs;
using testing::StartsWith;

namespace {

using Bytes = std::vector<unsigned char>;
using Part = CVideoTransformBase::ZOOM_RECT;

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr std::size_t kPictureBytes = std::size_t{kWidth} * kHeight * 3 / 2;

class BytesFrame : public CFrameBufferBase {
public:
    explicit BytesFrame(Bytes bytes) : m_Bytes(std::move(bytes)) {}
    unsigned char* GetData() override { return m_Bytes.data(); }
    const unsigned char* GetConstData() override { return m_Bytes.data(); }

private:
    Bytes m_Bytes;
};

/// What `decode` writes of a clip of 50 pictures of 320x240.
Bytes Decoded(const std::string& options) {
    const ScratchFolder scratch;
    const ProcessResult run =
        RunCodrelay("decode " + Quoted(Clip("mpeg4.avi")) + " --out " + scratch.Path("out") + " " + options);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return ReadFile(scratch.Path("out"));
}

/// The same pictures through one transform of the library.
Bytes Transformed(Part* part, unsigned int colorSpace, int width, int height, std::size_t outBytes) {
    const Bytes pictures = Decoded("");
    const auto transform = Codrelay_VideoTransform(CSP_YUV420P, kWidth, kHeight, part, colorSpace, width, height);
    Bytes all;
    for (std::size_t at = 0; transform && at < pictures.size(); at += kPictureBytes) {
        const auto first = pictures.begin() + static_cast<std::ptrdiff_t>(at);
        BytesFrame frame(Bytes(first, first + kPictureBytes));
        const unsigned char* result = transform->Transform(&frame)->GetConstData();
        all.insert(all.end(), result, result + outBytes);
    }
    return all;
}

/// The rectangle that starts at `x`, `y` of a plane.
void AppendPart(Bytes& to, const unsigned char* plane, int stride, int x, int y, int width, int height) {
    for (int row = y; row < y + height; ++row) {
        to.insert(to.end(), plane + row * stride + x, plane + row * stride + x + width);
    }
}

std::vector<std::string> HashLines(const std::string& clip, const std::string& options) {
    const ProcessResult run = RunCodrelay("decode " + Quoted(Clip(clip)) + " --hashes " + options);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    std::vector<std::string> lines = Lines(run.out);
    EXPECT_FALSE(lines.empty());
    if (!lines.empty()) {
        lines.pop_back();
    }
    return lines;
}

void ExpectFailure(const std::string& options, const std::string& complaint) {
    const ProcessResult run = RunCodrelay("decode " + Quoted(Clip("mpeg4.avi")) + " " + options);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: " + complaint + "\n");
}

}  // namespace

TEST(DecodeTransforms, ColourSpacesAreTheLibrarys) {
    EXPECT_TRUE(Decoded("--csp rgb24") == Transformed(nullptr, CSP_RGB24, kWidth, kHeight, 320 * 240 * 3));
    EXPECT_TRUE(Decoded("--csp bgra") == Transformed(nullptr, CSP_BGRA, kWidth, kHeight, 320 * 240 * 4));
}

TEST(DecodeTransforms, SizesAreTheLibrarys) {
    EXPECT_TRUE(Decoded("--size 101x77") == Transformed(nullptr, CSP_YUV420P, 101, 77, 101 * 77 + 102 * 78 / 2));
    EXPECT_TRUE(Decoded("--size 640x360") == Transformed(nullptr, CSP_YUV420P, 640, 360, 640 * 360 * 3 / 2));
}

TEST(DecodeTransforms, PartsThatAreScaledAndConvertedAreTheLibrarys) {
    Part part{10, 13, 83, 90};
    EXPECT_TRUE(Decoded("--crop 10,13,83,90 --size 160x120 --csp bgr24") ==
                Transformed(&part, CSP_BGR24, 160, 120, 160 * 120 * 3));
}

TEST(DecodeTransforms, APartIsCutOutAsItIs) {
    const Bytes pictures = Decoded("");
    Bytes expected;
    for (std::size_t at = 0; at < pictures.size(); at += kPictureBytes) {
        const unsigned char* luma = pictures.data() + at;
        AppendPart(expected, luma, kWidth, 80, 120, 160, 120);
        AppendPart(expected, luma + kWidth * kHeight, kWidth / 2, 40, 60, 80, 60);
        AppendPart(expected, luma + kWidth * kHeight * 5 / 4, kWidth / 2, 40, 60, 80, 60);
    }
    EXPECT_TRUE(Decoded("--crop 25,50,75,100") == expected);
}

TEST(DecodeTransforms, TheHeightOfAPartFollowsFromItsWidth) {
    EXPECT_THAT(HashLines("mpeg4.avi", "--crop 0,0,50,90"), Each(testing::HasSubstr("\t160\t120\t28800\t")));
}

TEST(DecodeTransforms, TheWholePictureIsNoPart) {
    EXPECT_EQ(HashLines("mpeg4.avi", "--crop 0,0,100,100 --size 320x240"), HashLines("mpeg4.avi", ""));
}

TEST(DecodeTransforms, HashLinesTellWhatIsWritten) {
    const std::vector<std::string> lines = HashLines("mpeg4.avi", "--size 100x50 --csp rgb24");
    ASSERT_THAT(lines, SizeIs(50));
    EXPECT_THAT(lines[2], StartsWith("2\t80\t100\t50\t15000\t"));
}

TEST(DecodeTransforms, PicturesOfChangingSizeComeOutAlike) {
    const std::vector<std::string> lines = HashLines("h264_resized.264", "--allow-resize --size 160x90");
    ASSERT_THAT(lines, SizeIs(40));
    EXPECT_THAT(lines, Each(testing::HasSubstr("\t160\t90\t21600\t")));
}

TEST(DecodeTransforms, HeldPicturesChangeNothing) {
    EXPECT_EQ(HashLines("mpeg4.avi", "--size 100x50 --hold 7"), HashLines("mpeg4.avi", "--size 100x50"));
}

TEST(DecodeTransforms, MuchSmallerPicturesAreMadeInSteps) {
    EXPECT_THAT(HashLines("h264_854.264", "--size 8x8 --csp rgb24"), Each(testing::HasSubstr("\t8\t8\t192\t")));
}

TEST(DecodeTransforms, WhatCannotBeHadIsTold) {
    ExpectFailure("--size 7x100", "pictures cannot be scaled to 7x100: a side has 8 to 4096 pixels");
    ExpectFailure("--size 100x4097", "pictures cannot be scaled to 100x4097: a side has 8 to 4096 pixels");
    ExpectFailure("--crop 0,75,100,100",
                  "the part asked for cannot be cut out of pictures of 320x240: it has 320x240 pixels, its height "
                  "following from its width, from column 0 and row 180");
    ExpectFailure("--crop 0,0,2,2",
                  "the part asked for cannot be cut out of pictures of 320x240: it has 6x4 pixels, its height "
                  "following from its width, from column 0 and row 0");
}
