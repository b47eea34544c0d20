#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "command.h"
#include "common/test_media.h"

using testing::HasSubstr;

namespace {

/// A PNG as the peer reads it: packed RGB.
struct ReadBack {
    std::size_t width;
    std::size_t height;
    std::string rgb;

    std::array<int, 3> At(std::size_t x, std::size_t y) const {
        const auto byte = [&](std::size_t i) {
            return int{static_cast<unsigned char>(rgb.at((y * width + x) * 3 + i))};
        };
        return {byte(0), byte(1), byte(2)};
    }
};

ReadBack ReadPng(const std::string& path) {
    const ProcessResult size = RunCommand("ffprobe -v error -show_entries stream=width,height -of csv=p=0:s=x " + path);
    const std::size_t mark = size.out.find('x');
    ReadBack image{std::stoul(size.out), std::stoul(size.out.substr(mark + 1)), ""};
    image.rgb = RunCommand("ffmpeg -nostdin -v error -i " + path + " -pix_fmt rgb24 -f rawvideo -").out;
    EXPECT_EQ(image.rgb.size(), image.width * image.height * 3);
    return image;
}

class Sheet : public testing::Test {
protected:
    ReadBack Make(const std::string& file, const std::string& options) {
        m_Run = RunCodrelay("sheet " + Quoted(file) + " " + m_Out + " " + options);
        EXPECT_EQ(m_Run.exitCode, 0) << m_Run.err;
        EXPECT_EQ(m_Run.out, "");
        return ReadPng(m_Out);
    }

    const ScratchFolder m_Scratch;
    const std::string m_Out = m_Scratch.Path("sheet.png");
    ProcessResult m_Run;
};

/// A clip whose picture number n has the luma 16 + 4 n, so that a picture tells its place.
std::string MakeGreyClip(const ScratchFolder& scratch, const std::string& codec, const std::string& name) {
    const std::string path = scratch.Path(name);
    const ProcessResult made = RunCommand(
        "ffmpeg -nostdin -v error -y -f lavfi -i color=c=black:s=320x240:r=25:d=2 -vf "
        "\"geq=lum='16+N*4':cb=128:cr=128\" " +
        codec + " " + path);
    EXPECT_EQ(made.exitCode, 0) << made.err;
    return path;
}

struct Cell {
    int grey;
    /// The label's dots.
    std::string label;
};

/// The cells of a sheet that is 1000 wide, with ten pictures of 4:3 in each row.
std::vector<Cell> Cells(const ReadBack& sheet) {
    constexpr std::size_t kWidth = (1000 - 11 * 8) / 10;
    constexpr std::size_t kHeight = (kWidth * 240 + 160) / 320;
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < 50; ++i) {
        const std::size_t left = (1000 - 10 * (kWidth + 8) - 8) / 2 + 8 + i % 10 * (kWidth + 8);
        const std::size_t top = 8 + i / 10 * (kHeight + 8);
        Cell cell{top < sheet.height ? sheet.At(left + 5, top + 5)[0] : -1, ""};
        for (std::size_t y = top + kHeight - 11; cell.grey >= 0 && y < top + kHeight; ++y) {
            for (std::size_t x = left + kWidth - 60; x < left + kWidth; ++x) {
                cell.label += sheet.At(x, y) == std::array<int, 3>{255, 255, 255} ? '#' : '.';
            }
        }
        cells.push_back(cell);
    }
    return cells;
}

}  // namespace

TEST_F(Sheet, HasTheWidthAskedForAndCellsOfThePicturesShape) {
    const ReadBack image = Make(Clip("h264_baseline.264"), "--columns 3 --rows 2 --width 632");
    EXPECT_EQ(image.width, 632u);
    // Three cells of 200 by 150 with 8 pixels between and around.
    EXPECT_EQ(image.height, 2u * 150 + 3 * 8);
    EXPECT_EQ(m_Run.err, m_Out + ": 6 of 50 pictures\n");
}

TEST_F(Sheet, PicturesAreSpreadEvenlyAndInOrder) {
    const ReadBack image =
        Make(MakeGreyClip(m_Scratch, "-c:v mpeg4 -q:v 2", "grey.avi"), "--columns 5 --rows 2 --width 1000");
    const std::size_t cell = (1000 - 6 * 8) / 5;
    const std::size_t cellHeight = (cell * 240 + 160) / 320;
    std::vector<int> greys;
    for (std::size_t i = 0; i < 10; ++i) {
        greys.push_back(image.At(12 + i % 5 * (cell + 8) + 20, 12 + i / 5 * (cellHeight + 8) + 20)[0]);
    }
    // Pictures 2, 7, 12, ... each 5 * 4 steps of luma, of which 219 make 255, above the last.
    for (std::size_t i = 0; i < greys.size(); ++i) {
        EXPECT_NEAR(greys[i], static_cast<double>((2 + 5 * i) * 4) * 255 / 219, 4) << "cell " << i;
    }
}

TEST_F(Sheet, ColoursAreThoseOfThePicture) {
    const std::string file = m_Scratch.Path("red.avi");
    RunCommand("ffmpeg -nostdin -v error -y -f lavfi -i color=c=red:s=320x240:r=25:d=1 -c:v mpeg4 -q:v 2 " + file);
    const ReadBack image = Make(file, "");
    const std::array<int, 3> pixel = image.At(40, 40);
    EXPECT_GT(pixel[0], 240);
    EXPECT_LT(pixel[1], 15);
    EXPECT_LT(pixel[2], 15);
}

TEST_F(Sheet, AShortClipFillsTheSheetWithWhatItHas) {
    const std::string file = m_Scratch.Path("one.jpg");
    RunCommand("ffmpeg -nostdin -v error -y -i " + Clip("mjpeg.avi") + " -frames:v 1 -c copy -f mjpeg " + file);
    const ReadBack image = Make(file, "--width 336");
    EXPECT_EQ(image.width, 336u);
    EXPECT_EQ(image.height, 256u);
    EXPECT_EQ(m_Run.err, m_Out + ": 1 of 1 pictures\n");
}

// The label's white dots stand in the lower right corner of the cell, on a box that hides most of the picture.
TEST_F(Sheet, EveryPictureHasALabel) {
    const ReadBack image =
        Make(MakeGreyClip(m_Scratch, "-c:v mpeg4 -q:v 2", "grey.avi"), "--columns 4 --rows 1 --width 1240");
    const std::size_t cell = (1240 - 5 * 8) / 4;
    const std::array<int, 3> white = {255, 255, 255};
    for (std::size_t i = 0; i < 4; ++i) {
        int dots = 0;
        for (std::size_t y = image.height - 8 - 24; y < image.height - 8; ++y) {
            for (std::size_t x = 8 + i * (cell + 8); x < (i + 1) * (cell + 8); ++x) {
                dots += image.At(x, y) == white ? 1 : 0;
            }
        }
        EXPECT_GT(dots, 100) << "cell " << i;
    }
}

// Without reordering the decoder's time is the picture's own, so the two sheets must be alike.
TEST_F(Sheet, ReorderedPicturesHaveTheirOwnTimes) {
    const std::string options = "--columns 10 --rows 5 --width 1000";
    const std::vector<Cell> plain = Cells(Make(MakeGreyClip(m_Scratch, "-c:v libx264 -bf 0", "plain.mp4"), options));
    const std::vector<Cell> reordered =
        Cells(Make(MakeGreyClip(m_Scratch, "-c:v libx264 -bf 3 -b_strategy 0", "reordered.mp4"), options));
    EXPECT_EQ(m_Run.err, m_Out + ": 48 of 48 pictures\n");
    for (std::size_t i = 0; i < 48; ++i) {
        EXPECT_NEAR(reordered[i].grey, plain[i].grey, 2) << "cell " << i;
        EXPECT_EQ(reordered[i].label, plain[i].label) << "cell " << i;
        EXPECT_TRUE(i == 0 || plain[i].label != plain[i - 1].label) << "cell " << i;
    }
}

TEST_F(Sheet, PicturesThatChangeTheirSizeStandInTheMiddleOfTheirCells) {
    const ReadBack image = Make(Clip("h264_resized.264"), "--columns 4 --rows 1 --width 840");
    const std::size_t cell = (840 - 5 * 8) / 4;
    // The second picture is 16:9 in a cell of 4:3: black above.
    EXPECT_EQ(image.At(8 + cell + 8 + cell / 2, 10), (std::array<int, 3>{0, 0, 0}));
    EXPECT_NE(image.At(8 + cell / 2, 10), (std::array<int, 3>{0, 0, 0}));
    EXPECT_THAT(m_Run.err, HasSubstr("4 of 40 pictures"));
}

TEST_F(Sheet, AStreamWithoutASizeWantsOne) {
    const std::string arguments = "sheet " + Quoted(Clip("command_no_size.mp4")) + " " + m_Out;
    EXPECT_THAT(RunCodrelay(arguments).err, HasSubstr("give it with --frame-size WxH\n"));
    EXPECT_FALSE(std::filesystem::exists(m_Out));
    EXPECT_EQ(RunCodrelay(arguments + " --frame-size 160x120").exitCode, 0);
}

TEST_F(Sheet, ASheetBeyondReasonIsRefused) {
    const ProcessResult run = RunCodrelay("sheet " + Quoted(Clip("h264_baseline.264")) + " " + m_Out +
                                          " --columns 1 --rows 64 --width 16384");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: the sheet would have 16384x786184 pixels; take a smaller --width or fewer --rows\n");
    EXPECT_FALSE(std::filesystem::exists(m_Out));
}
