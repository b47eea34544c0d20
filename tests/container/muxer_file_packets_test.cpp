#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "container/muxer_file_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

TEST_F(MuxerFile, GivesTheFirstPictureTickOneAndTheNextAtTheSameTimeTickTwo) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 123456), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 123456), 1);
    EXPECT_THAT(Times(), ElementsAre(1, 2));
    EXPECT_EQ(g_MuxScript.written[0].flags, AV_PKT_FLAG_KEY);
    EXPECT_EQ(g_MuxScript.written[1].flags, 0);
    EXPECT_EQ(g_MuxScript.written[0].dts, AV_NOPTS_VALUE);
    EXPECT_EQ(g_MuxScript.written[0].data, m_Bytes.data());
}

TEST_F(MuxerFile, TakesAnyNumberButZeroForAKeyFrame) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 2, 0), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, -1, 0), 1);
    EXPECT_EQ(g_MuxScript.written[0].flags, AV_PKT_FLAG_KEY);
    EXPECT_EQ(g_MuxScript.written[1].flags, AV_PKT_FLAG_KEY);
}

TEST_F(MuxerFile, RaisesTimesThatGoBackwards) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    for (const long long pts : {1000, 1080, 1040, 900, 1200}) {
        EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, pts), 1);
    }
    EXPECT_THAT(Times(), ElementsAre(1, 80, 81, 82, 200));
}

TEST_F(MuxerFile, RescalesToTheTimeBaseThatTheHeaderSet) {
    CMuxerFile& muxer = Ready(kTs, H264AndPcm());
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 5), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 45), 1);
    EXPECT_THAT(Times(), ElementsAre(1, 3600));
}

TEST_F(MuxerFile, TakesTheOriginFromTheMediumThatComesFirst) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 5000), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 5040), 1);
    EXPECT_THAT(Times(), ElementsAre(1, 40));
}

TEST_F(MuxerFile, TakesTheOriginFromAnEmptyBlockToo) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    LogCapture log;
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 0, 0, 1000), 0);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), -1, 0, 1000), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 0, 1000), 0);
    const LoggedLine frame = Ffmpeg(Severity::Error, "CMuxerFile::WriteFrame: no buffer");
    EXPECT_THAT(log.Take(), ElementsAre(frame, frame, Ffmpeg(Severity::Error, "CMuxerFile::WriteSound: no buffer")));
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 1040), 1);
    EXPECT_THAT(Times(), ElementsAre(40));
}

TEST_F(MuxerFile, KeepsThePreviousTimeWhenAPictureIsRefused) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 0), 1);
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 40), 1);
    g_MuxScript.failFrom = 2;
    LogCapture log;
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 80), 0);
    g_MuxScript.answer = 1;  // any result but 0 is a failure
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 20), 0);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Critical, "CMuxerFile::WriteFrame: write_frame error: pts = 80, prevPts = 40"),
                    Ffmpeg(Severity::Critical, "CMuxerFile::WriteFrame: write_frame error: pts = 41, prevPts = 40")));
}

TEST_F(MuxerFile, SaysThatThereIsNoSound) {
    MUXER_PARAM param = H264AndPcm();
    param.audioCodec = 0;
    CMuxerFile& muxer = Ready(kFlv, param);
    LogCapture log;
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 700), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteSound: audio stream not added")));
    // The origin was not looked at.
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 1000), 1);
    EXPECT_THAT(Times(), ElementsAre(1));
}

TEST_F(MuxerFile, AdvancesOtherSoundByOneTickABlock) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 1000), 1);
    for (const long long pts : {1000, 1100, 1200, 1300}) {
        EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, pts), 1);
    }
    // A block at the origin leaves the next one its own time; from there on the host's times do not count.
    EXPECT_THAT(Times(), ElementsAre(1, 1, 100, 101, 102));
    EXPECT_EQ(g_MuxScript.written[1].flags, AV_PKT_FLAG_KEY);
}

TEST_F(MuxerFile, KeepsATimeOfSoundBeforeTheOrigin) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 1000), 1);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 500), 1);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 3000), 1);
    EXPECT_THAT(Times(), ElementsAre(1, 1, 2));
}

TEST_F(MuxerFile, TellsEachFrameOfSound) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    LogCapture log;
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 0), 1);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info, "CMuxerFile::WriteSound: Timebase: 1/1000, PTS 1, Size: 100"),
                            Ffmpeg(Severity::Trace, "CMuxerFile::WriteSound: Input size: 100, Output size: 100")));
}

TEST_F(MuxerFile, ReadsOneByteMoreOfABlockOf105Modulo209) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    LogCapture log;
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 105 + 209, 0), 1);
    EXPECT_THAT(Sizes(), ElementsAre(315));
    EXPECT_EQ(g_MuxScript.written[0].data, m_Bytes.data());
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info, "CMuxerFile::WriteSound: Timebase: 1/1000, PTS 1, Size: 315"),
                            Ffmpeg(Severity::Trace, "CMuxerFile::WriteSound: Input size: 314, Output size: 315"),
                            Ffmpeg(Severity::Error, "WARNING: Input/output size mismatch")));
}

struct Cut {
    int bitRate;
    int sampleRate;
    int size;
    std::vector<int> sizes;
    bool mismatch;
};

class Mp3Cutting : public MuxerFile, public testing::WithParamInterface<Cut> {};

TEST_P(Mp3Cutting, GivesTheFramesThatHostsKnow) {
    const Cut& cut = GetParam();
    CMuxerFile& muxer = Ready(kFlv, H264AndMp3(cut.bitRate, cut.sampleRate));
    LogCapture log(Severity::Error);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), cut.size, 0), 1);
    EXPECT_EQ(Sizes(), cut.sizes);
    if (cut.mismatch) {
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "WARNING: Input/output size mismatch")));
    } else {
        EXPECT_THAT(log.Take(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(, Mp3Cutting,
                         testing::Values(Cut{128000, 44100, 1254, {417, 418, 417}, true},
                                         Cut{128000, 44100, 105, {}, true},
                                         Cut{32000, 44100, 314, {105, 104, 105}, false},
                                         Cut{32000, 44100, 418, {104, 105, 104, 105}, false},
                                         Cut{128000, 48000, 384, {384}, false},
                                         // No whole byte a frame, no rate: nothing is cut.
                                         Cut{100, 44100, 500, {}, true}, Cut{-128000, 44100, 500, {}, true},
                                         // 144 times the rate counts in 32 bits.
                                         Cut{29829226, 44100, 25, {10, 11}, true}));

TEST_F(MuxerFile, CutsNothingAtASampleRateOfZero) {
    CMuxerFile& muxer = Created(kFlv, H264AndMp3(128000, 0));
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 500, 0), 1);
    EXPECT_THAT(g_MuxScript.written, IsEmpty());
}

TEST_F(MuxerFile, CutsNothingAtRatesWithoutAQuotient) {
    // 144 times this bit rate is the least 32-bit number.
    CMuxerFile& muxer = Created(kFlv, H264AndMp3(1 << 27, -1));
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 500, 0), 1);
    EXPECT_THAT(g_MuxScript.written, IsEmpty());
}

TEST_F(MuxerFile, RunsMp3OnByWholeMilliseconds) {
    CMuxerFile& muxer = Ready(kFlv, H264AndMp3(32000, 44100));
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 418, 1000), 1);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 418, 99999), 1);
    EXPECT_THAT(Times(), ElementsAre(1, 26, 52, 78, 104, 130, 156, 182));
}

TEST_F(MuxerFile, KeepsTheAdvanceOfFramesBeforeARefusedOne) {
    CMuxerFile& muxer = Ready(kFlv, H264AndMp3(32000, 44100));
    g_MuxScript.failFrom = 2;
    LogCapture log(Severity::Error);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 418, 0), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CMuxerFile::WriteSound: write_frame error: pts = 52, prevPts = 26")));
    g_MuxScript.failFrom = SIZE_MAX;
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 104, 0), 1);
    EXPECT_EQ(Times().back(), 52);
}

TEST_F(MuxerFile, FillsWithZerosWhatTheLastMp3FrameLacks) {
    // 20 frames of 384 bytes, every other declared one longer: ten bytes more than there are.
    CMuxerFile& muxer = Ready(kFlv, H264AndMp3(128000, 48000));
    const auto block = std::make_unique<unsigned char[]>(7680);
    std::fill_n(block.get(), 7680, static_cast<unsigned char>(0x77));
    LogCapture log(Severity::Error);
    EXPECT_EQ(muxer.WriteSound(block.get(), 7680, 0), 1);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "WARNING: Input/output size mismatch")));
    ASSERT_EQ(g_MuxScript.written.size(), 20u);
    const std::vector<unsigned char>& last = g_MuxScript.written.back().bytes;
    ASSERT_EQ(last.size(), 385u);
    std::vector<unsigned char> expected(385, 0x77);
    std::fill(expected.end() - 10, expected.end(), static_cast<unsigned char>(0));
    EXPECT_EQ(last, expected);
}

TEST_F(MuxerFile, NeverReadsOutsideABlockOfMp3) {
    // Blocks of exactly their size: the address sanitizer watches their ends, the record of bytes reads them whole.
    const unsigned int seed = 20260731;
    RecordProperty("seed", static_cast<int>(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        const int bitRates[] = {312, 8000, 32000, 64000, 128000, 320000};
        const int rates[] = {8000, 22050, 44100, 48000};
        CMuxerFile* muxer = new CMuxerFile;
        MUXER_PARAM param = H264AndMp3(bitRates[random() % 6], rates[random() % 4]);
        ASSERT_EQ(muxer->Create(m_Path.c_str(), kAvi, &param), 1);
        ASSERT_EQ(muxer->WriteHeader(), 1);
        const auto size = static_cast<int>(1 + random() % 4000);
        const auto block = std::make_unique<unsigned char[]>(static_cast<std::size_t>(size));
        g_MuxScript.written.clear();
        EXPECT_EQ(muxer->WriteSound(block.get(), size, 0), 1) << "seed " << seed << ", round " << round;
        const int frameBytes = param.audioBitRate * 144 / param.sampleRate;
        EXPECT_EQ(g_MuxScript.written.size(), frameBytes > 0 ? static_cast<std::size_t>(size / frameBytes) : 0u);
        muxer->WriteTrailer();
        muxer->Delete();
    }
}

TEST_F(MuxerFile, KeepsTheTimeOfSoundAcrossAHeader) {
    g_MuxScript.passOn = true;
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 1);
    ASSERT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 500), 1);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    ASSERT_EQ(muxer.WriteHeader(), 1);
    ASSERT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 9000), 1);
    EXPECT_EQ(Times().back(), 500);
    muxer.WriteTrailer();
}

TEST_F(MuxerFile, RearmsTheOriginAtTheHeader) {
    g_MuxScript.passOn = true;
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 1);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    // libavformat starts a second file on the same context, and the times start again. That of FFmpeg 7 has a filter
    // for H.264 in FLV, which has come to its end with the first file.
    ASSERT_EQ(muxer.WriteHeader(), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 5000), IsFfmpeg7() ? 0 : 1);
    EXPECT_EQ(Times().back(), 1);
    muxer.WriteTrailer();
}

}  // namespace
