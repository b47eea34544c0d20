#include "container/muxer_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <malloc.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "container/ffmpeg_lines.h"
#include "container/muxer_file_fixture.h"
#include "container/muxing.h"
#include "container/stream_parameters.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

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

TEST_F(MuxerFile, LetsFfmpegDescribeTheOutput) {
    const FfmpegLines lines;
    Created(kFlv, H264AndPcm());
    EXPECT_THAT(lines.Text(), testing::StartsWith("Output #0, flv, to '" + m_Path + "':\n"));
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

TEST_F(MuxerFile, DescribesItsStreams) {
    AVFormatContext* context = avformat_alloc_context();
    context->oformat = av_guess_format("mp4", nullptr, nullptr);
    CMuxerFile& muxer = Created(kFlv, H264AndMp3(128000, 44100));
    const AVStream* video = muxer.AddVideoStream(context);
    EXPECT_EQ(video->id, 0);
    EXPECT_EQ(av_cmp_q(video->time_base, AVRational{1, 25}), 0);
    EXPECT_EQ(video->duration, 4000000);
    const StreamParameters* pictures = ParametersOf(video);
    EXPECT_EQ(pictures->codec_id, AV_CODEC_ID_H264);
    EXPECT_EQ(pictures->codec_type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(pictures->bit_rate, 0);
    EXPECT_EQ(pictures->width, 320);
    EXPECT_EQ(pictures->height, 240);
    EXPECT_EQ(PixelFormatOf(*pictures), AV_PIX_FMT_YUV420P);
    ExpectEncoderHints(*pictures, 0, 250);
    EXPECT_NE(context->flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0);
    const AVStream* audio = muxer.AddAudioStream(context);
    EXPECT_EQ(audio->id, 1);
    const StreamParameters* sound = ParametersOf(audio);
    EXPECT_EQ(sound->codec_id, AV_CODEC_ID_MP3);
    EXPECT_EQ(sound->codec_type, AVMEDIA_TYPE_AUDIO);
    EXPECT_EQ(SampleFormatOf(sound), AV_SAMPLE_FMT_S16);
    EXPECT_EQ(sound->bit_rate, 128000);
    EXPECT_EQ(sound->sample_rate, 44100);
    EXPECT_EQ(ChannelsOf(sound), 1);
    EXPECT_EQ(sound->frame_size, 1152);
    avformat_free_context(context);
}

// The records of formats are constant in later generations: there they keep FFmpeg's own defaults.
TEST_F(MuxerFile, OverwritesTheFormatsDefaultCodecsWhereTheyCanBe) {
    Created(kAvi, H264AndPcm());
    const AVOutputFormat* format = av_guess_format("avi", nullptr, nullptr);
    EXPECT_EQ(format->video_codec, IsReferenceFfmpeg() ? AV_CODEC_ID_H264 : AV_CODEC_ID_MPEG4);
    EXPECT_EQ(format->audio_codec, IsReferenceFfmpeg() ? AV_CODEC_ID_PCM_S16LE : AV_CODEC_ID_MP3);
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

TEST_F(MuxerFile, FailsEverythingAfterAHeaderThatFindsNoFile) {
    const std::filesystem::path folder = m_Path + ".d";
    std::filesystem::create_directory(folder);
    MUXER_PARAM param = H264AndPcm();
    m_pMuxer = new CMuxerFile;
    ASSERT_EQ(m_pMuxer->Create((folder / "film").c_str(), kFlv, &param), 1);
    ASSERT_EQ(m_pMuxer->WriteHeader(), 1);
    std::filesystem::remove_all(folder);
    EXPECT_EQ(m_pMuxer->WriteHeader(), 0);
    EXPECT_EQ(m_pMuxer->WriteFrame(m_Bytes.data(), 10, 1, 0), 0);
    EXPECT_EQ(m_pMuxer->WriteTrailer(), 0);
    EXPECT_EQ(m_pMuxer->GetFileSize(), 4294967295LL);
}

TEST_F(MuxerFile, OpensTheFileForWritingAlone) {
    Ready(kFlv, H264AndPcm());
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) == m_Path) {
            std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
            std::string key;
            int flags = 0;
            while (key != "flags:" && info >> key) {
            }
            info >> std::oct >> flags;
            EXPECT_EQ(flags & O_ACCMODE, O_WRONLY);
            return;
        }
    }
    FAIL() << "the file is not open";
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
    param.videoCodec = AV_CODEC_ID_MJPEG;  // not in FLV
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
    param.videoCodec = AV_CODEC_ID_MJPEG;  // not in FLV
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

TEST_F(MuxerFile, CountsAPositiveAnswerToTheTrailerAsAFailure) {
    g_MuxScript.trailerAnswer = 1;
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    LogCapture log(Severity::Error);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")));
    EXPECT_NE(muxer.GetFileSize(), 4294967295LL);
}

TEST_F(MuxerFile, FailsEverythingAfterDestroy) {
    CMuxerFile& muxer = Ready(kFlv, H264AndPcm());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 1000), 1);
    muxer.Destroy();
    LogCapture log(Severity::Warning);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 5000), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 5000), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CMuxerFile::WriteFrame: write_frame error: pts = 1, prevPts = 0"),
                                        Ffmpeg(Severity::Error, "CMuxerFile::WriteSound: audio stream not added"),
                                        Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")));
    EXPECT_EQ(muxer.GetFileSize(), 4294967295LL);
}

TEST_F(MuxerFile, TellsTheExpectedLengthInTheHeader) {
    // What stays in a file that gets no trailer, or that cannot seek back.
    g_MuxScript.passOn = true;
    MUXER_PARAM param = H264AndPcm();
    param.audioCodec = 0;
    CMuxerFile& muxer = Ready(kFlv, param);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 8192, 1, i * 40), 1);
    }
    std::ifstream file(m_Path, std::ios::binary);
    const std::string head((std::istreambuf_iterator<char>(file)), {});
    const std::string four("\0\x40\x10\0\0\0\0\0\0", 9);  // the mark of a number, and 4.0
    EXPECT_EQ(head.substr(head.find("duration") + std::strlen("duration"), four.size()), four);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
}

TEST_F(MuxerFile, OpensNoFileForAFormatThatHasNone) {
    m_pMuxer = new CMuxerFile;
    MUXER_PARAM param = H264AndPcm();
    ASSERT_EQ(m_pMuxer->Create("/nowhere/at/all", "raw null video", &param), 1);
    EXPECT_EQ(m_pMuxer->WriteHeader(), 1);
    EXPECT_EQ(m_pMuxer->GetFileSize(), 4294967295LL);
    EXPECT_EQ(m_pMuxer->WriteTrailer(), 1);
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

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(MuxerFile, FreesTheContextAndEachStream) {
    const auto freed = [](int count) {
        std::vector<AVFormatContext*> contexts;
        for (int i = 0; i < count; ++i) {
            contexts.push_back(avformat_alloc_context());
            avformat_new_stream(contexts.back(), nullptr);
            avformat_new_stream(contexts.back(), nullptr);
        }
        const std::size_t before = mallinfo2().uordblks;
        for (AVFormatContext* context : contexts) {
            muxing::AbandonContext(context);
        }
        return before - mallinfo2().uordblks;
    };
    freed(30);  // malloc counts the first seven of a size that come back as in use
    EXPECT_GE(freed(30), (30 - 7) * sizeof(AVFormatContext) + (60 - 7) * sizeof(AVStream));
}

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
