#include "container/muxer_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "codrelay/codrelay.h"
#include "common/log_capture.h"
#include "container/mux_script.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

constexpr char kFlv[] = "FLV format";
constexpr char kTs[] = "MPEG-2 transport stream format";
constexpr char kAvi[] = "AVI (Audio Video Interleaved)";

MUXER_PARAM H264AndMp3(int bitRate, int sampleRate) {
    return {AV_CODEC_ID_H264, AV_CODEC_ID_MP3, 320, 240, sampleRate, 1, bitRate, 4};
}

MUXER_PARAM H264AndPcm() {
    return {AV_CODEC_ID_H264, AV_CODEC_ID_PCM_S16LE, 320, 240, 44100, 1, 705600, 4};
}

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

    // A muxer whose header is written; what it writes is recorded and swallowed.
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
    std::vector<unsigned char> m_Bytes = std::vector<unsigned char>(8192, 0x55);
};

TEST_F(MuxerFile, RefusesNullParametersAndNullFormat) {
    CMuxerFile muxer;
    MUXER_PARAM param = H264AndPcm();
    LogCapture log;
    EXPECT_EQ(muxer.Create("x", kFlv, nullptr), 0);
    EXPECT_EQ(muxer.Create("x", nullptr, &param), 0);
    const LoggedLine line = Ffmpeg(Severity::Warning, "CMuxerFile::Create: wrong param!");
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
}

TEST_F(MuxerFile, RefusesAnUnknownFormat) {
    CMuxerFile muxer;
    MUXER_PARAM param = H264AndPcm();
    LogCapture log;
    EXPECT_EQ(muxer.Create("x", "mp4", &param), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::Create: FindOutFormat(mp4) failed!")));
}

TEST_F(MuxerFile, TellsItsCreationAndItsEnd) {
    LogCapture log;
    Created(kFlv, H264AndPcm());
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "CMuxerFile::Create: format FLV format"),
                                        Ffmpeg(Severity::Trace, "CMuxerFile::Create: add video stream!"),
                                        Ffmpeg(Severity::Trace, "CMuxerFile::Create: add audio stream!"),
                                        Ffmpeg(Severity::Trace, "CMuxerFile::Create: success!")));
    m_pMuxer->Delete();
    m_pMuxer = nullptr;
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "CMuxerFile: Delete")));
}

TEST_F(MuxerFile, TakesANullFileNameAsAnEmptyOne) {
    CMuxerFile* muxer = new CMuxerFile;
    MUXER_PARAM param = H264AndPcm();
    EXPECT_EQ(muxer->Create(nullptr, kFlv, &param), 1);
    LogCapture log;
    EXPECT_EQ(muxer->WriteHeader(), 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical, "CMuxerFile::WriteHeader: open  failed. Error = -2")));
    muxer->Delete();
}

TEST_F(MuxerFile, ReportsAContextThatCannotBeHad) {
    CMuxerFile muxer;
    MUXER_PARAM param = H264AndPcm();
    LogCapture log;
    const LoggedLine format = Ffmpeg(Severity::Trace, "CMuxerFile::Create: format FLV format");
    g_MuxScript.allocAnswer = AVERROR(ENOMEM);
    EXPECT_EQ(muxer.Create("x", kFlv, &param), 0);
    EXPECT_THAT(log.Take(), ElementsAre(format, Ffmpeg(Severity::Critical,
                                                       "CMuxerFile::Create: avformat_alloc_output_context2 failed!")));
    g_MuxScript.allocAnswer = 0;
    g_MuxScript.nullContext = true;
    EXPECT_EQ(muxer.Create("x", kFlv, &param), 0);
    EXPECT_THAT(log.Take(), ElementsAre(format, Ffmpeg(Severity::Critical, "CMuxerFile::Create: context failed!")));
}

TEST_F(MuxerFile, ReportsAStreamThatCannotBeHad) {
    CMuxerFile muxer;
    g_MuxScript.noStream = true;
    LogCapture log;
    const LoggedLine format = Ffmpeg(Severity::Trace, "CMuxerFile::Create: format FLV format");
    MUXER_PARAM param = H264AndPcm();
    EXPECT_EQ(muxer.Create("x", kFlv, &param), 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(format, Ffmpeg(Severity::Critical, "CMuxerFile::AddVideoStream: Could not alloc stream"),
                            Ffmpeg(Severity::Error, "CMuxerFile::Create: AddVideoStream failed")));
    param.videoCodec = 0;
    EXPECT_EQ(muxer.Create("x", kFlv, &param), 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(format, Ffmpeg(Severity::Critical, "CMuxerFile::AddAudioStream: Could not alloc stream"),
                            Ffmpeg(Severity::Error, "CMuxerFile::Create: AddAudioStream failed")));
}

TEST_F(MuxerFile, DescribesItsStreamsOnTheLegacyContexts) {
    AVFormatContext* context = avformat_alloc_context();
    context->oformat = av_guess_format("mp4", nullptr, nullptr);
    CMuxerFile& muxer = Created(kFlv, H264AndMp3(128000, 44100));
    const AVStream* video = muxer.AddVideoStream(context);
    EXPECT_EQ(video->id, 0);
    EXPECT_EQ(av_cmp_q(video->time_base, AVRational{1, 25}), 0);
    EXPECT_EQ(video->duration, 4000000);
    EXPECT_EQ(video->codec->codec_id, AV_CODEC_ID_H264);
    EXPECT_EQ(video->codec->codec_type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(video->codec->bit_rate, 0);
    EXPECT_EQ(video->codec->rc_buffer_size, 0);
    EXPECT_EQ(video->codec->rc_max_rate, 0);
    EXPECT_EQ(video->codec->width, 320);
    EXPECT_EQ(video->codec->height, 240);
    EXPECT_EQ(video->codec->gop_size, 250);
    EXPECT_EQ(video->codec->max_b_frames, 0);
    EXPECT_EQ(video->codec->pix_fmt, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(av_cmp_q(video->codec->time_base, AVRational{1, 25}), 0);
    EXPECT_NE(context->flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0);
    const AVStream* audio = muxer.AddAudioStream(context);
    EXPECT_EQ(audio->id, 1);
    EXPECT_EQ(audio->codec->codec_id, AV_CODEC_ID_MP3);
    EXPECT_EQ(audio->codec->codec_type, AVMEDIA_TYPE_AUDIO);
    EXPECT_EQ(audio->codec->sample_fmt, AV_SAMPLE_FMT_S16);
    EXPECT_EQ(audio->codec->bit_rate, 128000);
    EXPECT_EQ(audio->codec->sample_rate, 44100);
    EXPECT_EQ(audio->codec->channels, 1);
    EXPECT_EQ(audio->codec->frame_size, 1152);
    avformat_free_context(context);
}

TEST_F(MuxerFile, OverwritesTheFormatsDefaultCodecs) {
    Created(kAvi, H264AndPcm());
    const AVOutputFormat* format = av_guess_format("avi", nullptr, nullptr);
    EXPECT_EQ(format->video_codec, AV_CODEC_ID_H264);
    EXPECT_EQ(format->audio_codec, AV_CODEC_ID_PCM_S16LE);
}

TEST_F(MuxerFile, ReportsAFileThatCannotBeOpenedAndMayTryAgain) {
    MUXER_PARAM param = H264AndPcm();
    m_pMuxer = new CMuxerFile;
    ASSERT_EQ(m_pMuxer->Create("/nowhere/at/all", kFlv, &param), 1);
    LogCapture log;
    const LoggedLine line =
        Ffmpeg(Severity::Critical, "CMuxerFile::WriteHeader: open /nowhere/at/all failed. Error = -2");
    EXPECT_EQ(m_pMuxer->WriteHeader(), 0);
    EXPECT_EQ(m_pMuxer->WriteHeader(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
}

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
                                         Cut{100, 44100, 500, {}, true}, Cut{-128000, 44100, 500, {}, true}));

TEST_F(MuxerFile, CutsNothingAtASampleRateOfZero) {
    CMuxerFile& muxer = Created(kFlv, H264AndMp3(128000, 0));
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

TEST_F(MuxerFile, FailsWritesAndTrailerBeforeTheHeader) {
    CMuxerFile& muxer = Created(kFlv, H264AndPcm());
    LogCapture log(Severity::Warning);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 0), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 0), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Critical, "CMuxerFile::WriteFrame: write_frame error: pts = 1, prevPts = 0"),
                    Ffmpeg(Severity::Critical, "CMuxerFile::WriteSound: write_frame error: pts = 1, prevPts = 0"),
                    Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")));
    EXPECT_THAT(g_MuxScript.written, IsEmpty());
}

TEST_F(MuxerFile, FailsWritesAndTrailerAfterARefusedHeader) {
    MUXER_PARAM param = H264AndPcm();
    param.videoCodec = AV_CODEC_ID_HEVC;  // not in FLV
    CMuxerFile& muxer = Created(kFlv, param);
    LogCapture log;
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 0), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteHeader: failed"),
                                        Ffmpeg(Severity::Critical,
                                               "CMuxerFile::WriteFrame: write_frame error: pts = 1, prevPts = 0"),
                                        Ffmpeg(Severity::Trace, "CMuxerFile: WriteTrailer"),
                                        Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")));
}

TEST_F(MuxerFile, FailsEverythingAfterTheTrailer) {
    g_MuxScript.passOn = true;
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 1);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    LogCapture log(Severity::Warning);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 40), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 40), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Critical, "CMuxerFile::WriteFrame: write_frame error: pts = 40, prevPts = 1"),
                    Ffmpeg(Severity::Critical, "CMuxerFile::WriteSound: write_frame error: pts = 40, prevPts = 0"),
                    Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")));
    EXPECT_EQ(muxer.GetFileSize(), 4294967295LL);
}

TEST_F(MuxerFile, FailsAWriteOnAStreamThatIsNotThere) {
    MUXER_PARAM param = H264AndPcm();
    param.videoCodec = 0;
    CMuxerFile& muxer = Ready(kFlv, param);
    LogCapture log(Severity::Warning);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 0), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CMuxerFile::WriteFrame: write_frame error: pts = 1, prevPts = 0")));
}

TEST_F(MuxerFile, FailsOnAnObjectNeverCreated) {
    CMuxerFile muxer;
    LogCapture log(Severity::Warning);
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 0), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 0), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_EQ(muxer.GetFileSize(), 4294967295LL);
    muxer.Destroy();
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteHeader: failed"),
                                        Ffmpeg(Severity::Critical,
                                               "CMuxerFile::WriteFrame: write_frame error: pts = 1, prevPts = 0"),
                                        Ffmpeg(Severity::Error, "CMuxerFile::WriteSound: audio stream not added"),
                                        Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")));
}

TEST_F(MuxerFile, LeavesAMuxerWithoutStreamsToLibavformat) {
    MUXER_PARAM param = H264AndPcm();
    param.videoCodec = 0;
    param.audioCodec = 0;
    CMuxerFile& muxer = Created(kAvi, param);
    LogCapture log;
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteHeader: failed")));
}

TEST_F(MuxerFile, CountsAPositiveAnswerToTheHeaderAsAFailure) {
    // What libavformat answers to a header after a header, with its streams set up already.
    g_MuxScript.passOn = true;
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    LogCapture log;
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteHeader: failed")));
    // The output is open and takes packets all the same.
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 1);
    EXPECT_EQ(muxer.WriteTrailer(), 1);
}

TEST_F(MuxerFile, LeavesTheFileOpenWhenTheHeaderIsRefused) {
    MUXER_PARAM param = H264AndPcm();
    param.videoCodec = AV_CODEC_ID_HEVC;  // not in FLV
    CMuxerFile& muxer = Created(kFlv, param);
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_NE(muxer.GetFileSize(), 4294967295LL);
}

TEST_F(MuxerFile, ReportsATrailerThatCannotBeWritten) {
    g_MuxScript.passOn = true;
    m_pMuxer = new CMuxerFile;
    MUXER_PARAM param = H264AndPcm();
    ASSERT_EQ(m_pMuxer->Create("/dev/full", kTs, &param), 1);
    ASSERT_EQ(m_pMuxer->WriteHeader(), 1);
    ASSERT_EQ(m_pMuxer->WriteFrame(m_Bytes.data(), 1000, 1, 0), 1);
    LogCapture log;
    EXPECT_EQ(m_pMuxer->WriteTrailer(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "CMuxerFile: WriteTrailer"),
                                        Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")));
    EXPECT_NE(m_pMuxer->GetFileSize(), 4294967295LL);
}

TEST_F(MuxerFile, OpensNoFileForAFormatThatHasNone) {
    m_pMuxer = new CMuxerFile;
    MUXER_PARAM param = H264AndPcm();
    ASSERT_EQ(m_pMuxer->Create("/nowhere/at/all", "raw null video", &param), 1);
    EXPECT_EQ(m_pMuxer->WriteHeader(), 1);
    EXPECT_EQ(m_pMuxer->GetFileSize(), 4294967295LL);
    EXPECT_EQ(m_pMuxer->WriteTrailer(), 1);
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

TEST_F(MuxerFile, FlushesOnEvery26thCall) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    for (int i = 0; i < 25; ++i) {
        muxer.FlushFile();
    }
    EXPECT_EQ(g_MuxScript.flushes, 0);
    muxer.FlushFile();
    EXPECT_EQ(g_MuxScript.flushes, 1);
    for (int i = 0; i < 26; ++i) {
        muxer.FlushFile();
    }
    EXPECT_EQ(g_MuxScript.flushes, 2);
}

TEST_F(MuxerFile, FlushesNothingBeforeTheHeader) {
    CMuxerFile& muxer = Created(kFlv, H264AndPcm());
    for (int i = 0; i < 26; ++i) {
        muxer.FlushFile();
    }
    EXPECT_EQ(g_MuxScript.flushes, 0);
}

TEST_F(MuxerFile, TellsTheSizeOnDisk) {
    g_MuxScript.passOn = true;
    MUXER_PARAM param = H264AndPcm();
    param.audioCodec = 0;  // nothing to wait for
    CMuxerFile& muxer = Created(kFlv, param);
    EXPECT_EQ(muxer.GetFileSize(), 4294967295LL);
    ASSERT_EQ(muxer.WriteHeader(), 1);
    EXPECT_EQ(muxer.GetFileSize(), 0);
    // libavformat keeps 256 KiB back.
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 8192, 1, i * 40), 1);
    }
    EXPECT_GE(muxer.GetFileSize(), 256 * 1024);
    EXPECT_EQ(muxer.GetFileSize(), static_cast<long long>(std::filesystem::file_size(m_Path)));
    ASSERT_EQ(muxer.WriteTrailer(), 1);
}

TEST_F(MuxerFile, RearmsTheOriginAtTheHeader) {
    g_MuxScript.passOn = true;
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 1);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    // libavformat starts a second file on the same context, and the times start again.
    ASSERT_EQ(muxer.WriteHeader(), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 5000), 1);
    EXPECT_EQ(Times().back(), 1);
    muxer.WriteTrailer();
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// FFmpeg's insides of a muxer stay behind when it goes, as hosts have always known it: some kilobytes, no more.
TEST_F(MuxerFile, LeavesAFewKilobytesBehind) {
    g_MuxScript.passOn = true;
    const auto life = [this] {
        CMuxerFile* muxer = new CMuxerFile;
        MUXER_PARAM param = H264AndPcm();
        muxer->Create(m_Path.c_str(), kFlv, &param);
        muxer->WriteHeader();
        muxer->WriteFrame(m_Bytes.data(), 10, 1, 0);
        muxer->WriteSound(m_Bytes.data(), 10, 0);
        muxer->WriteTrailer();
        muxer->Delete();
        g_MuxScript.written.clear();
    };
    life();
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 100; ++i) {
        life();
    }
    const std::size_t perMuxer = (mallinfo2().uordblks - before) / 100;
    RecordProperty("bytes_per_muxer", static_cast<int>(perMuxer));
    EXPECT_GT(perMuxer, 1000u);
    EXPECT_LT(perMuxer, 8000u);
}
#endif

}  // namespace
