#include "container/muxer_mem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <random>

#include "codrelay/codrelay.h"
#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "container/ffmpeg_lines.h"
#include "container/mux_script.h"
#include "container/stream_parameters.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

constexpr char kFlv[] = "FLV format";

MUXER_PARAM H264And(int audioCodec) {
    return {AV_CODEC_ID_H264, audioCodec, 320, 240, 44100, 1, 128000, 4};
}

class MuxerMem : public testing::Test {
protected:
    MuxerMem() {
        g_MuxScript = MuxScript();
        av_log_set_level(AV_LOG_QUIET);
    }
    ~MuxerMem() override {
        if (m_pMuxer != nullptr) {
            TakePiece();
            m_pMuxer->Delete();
        }
    }

    CMuxerMem& Created(MUXER_PARAM param) {
        m_pMuxer = new CMuxerMem;
        EXPECT_EQ(m_pMuxer->Create(kFlv, &param), 1);
        return *m_pMuxer;
    }
    // With the header written and a buffer open for the next write.
    CMuxerMem& Ready(MUXER_PARAM param) {
        Created(param);
        EXPECT_EQ(m_pMuxer->BeginWriteBuf(), 1);
        EXPECT_EQ(m_pMuxer->WriteHeader(), 1);
        TakePiece();
        EXPECT_EQ(m_pMuxer->BeginWriteBuf(), 1);
        return *m_pMuxer;
    }
    std::vector<unsigned char> TakePiece() {
        unsigned char* buffer = nullptr;
        const int count = m_pMuxer->GetWriteBuf(buffer);
        std::vector<unsigned char> piece(buffer, buffer + count);
        m_pMuxer->FreeWriteBuf(buffer);
        return piece;
    }

    CMuxerMem* m_pMuxer = nullptr;
    std::vector<unsigned char> m_Bytes = PictureBytes(8192);
};

TEST_F(MuxerMem, RefusesNullParametersAndNullFormat) {
    CMuxerMem muxer;
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    LogCapture log;
    EXPECT_EQ(muxer.Create(kFlv, nullptr), 0);
    EXPECT_EQ(muxer.Create(nullptr, &param), 0);
    const LoggedLine line = Ffmpeg(Severity::Warning, "CMuxerMem::Create: wrong param!");
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
}

TEST_F(MuxerMem, RefusesAnUnknownFormat) {
    CMuxerMem muxer;
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    LogCapture log;
    EXPECT_EQ(muxer.Create("flv", &param), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::Create: FindOutFormat(flv) failed!")));
}

TEST_F(MuxerMem, TellsItsCreationAndItsEnd) {
    LogCapture log;
    Created(H264And(AV_CODEC_ID_MP3));
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "CMuxerMem::Create: format FLV format"),
                                        Ffmpeg(Severity::Trace, "CMuxerMem::Create: add audio stream!"),
                                        Ffmpeg(Severity::Trace, "CMuxerMem::Create: success!")));
    m_pMuxer->Delete();
    m_pMuxer = nullptr;
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "CMuxerMem: Delete")));
}

TEST_F(MuxerMem, ReportsAContextThatCannotBeHad) {
    CMuxerMem muxer;
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    LogCapture log(Severity::Error);
    g_MuxScript.allocAnswer = AVERROR(ENOMEM);
    EXPECT_EQ(muxer.Create(kFlv, &param), 0);
    g_MuxScript.allocAnswer = 0;
    g_MuxScript.nullContext = true;
    EXPECT_EQ(muxer.Create(kFlv, &param), 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::Create: avformat_alloc_output_context2 failed!"),
                            Ffmpeg(Severity::Critical, "CMuxerMem::Create: context failed!")));
}

TEST_F(MuxerMem, ReportsAStreamThatCannotBeHad) {
    CMuxerMem muxer;
    g_MuxScript.noStream = true;
    LogCapture log(Severity::Error);
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    EXPECT_EQ(muxer.Create(kFlv, &param), 0);
    param.videoCodec = 0;
    EXPECT_EQ(muxer.Create(kFlv, &param), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::AddVideoStream: Could not alloc stream"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::Create: av_new_stream"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::AddAudioStream: Could not alloc stream"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::Create: AddAudioStream failed")));
}

TEST_F(MuxerMem, DescribesItsVideoStreamInItsOwnWay) {
    AVFormatContext* context = avformat_alloc_context();
    context->oformat = av_guess_format("mp4", nullptr, nullptr);
    const AVStream* video = Created(H264And(AV_CODEC_ID_MP3)).AddVideoStream(context);
    const StreamParameters* pictures = ParametersOf(video);
    EXPECT_EQ(pictures->bit_rate, 1048576);
    EXPECT_EQ(pictures->codec_id, AV_CODEC_ID_H264);
    EXPECT_EQ(pictures->width, 320);
    ExpectEncoderHints(*pictures, 1048576, 50);
    EXPECT_EQ(video->duration, 4000000);
    avformat_free_context(context);
}

TEST_F(MuxerMem, ReportsABufferThatCannotBeOpened) {
    CMuxerMem& muxer = Created(H264And(AV_CODEC_ID_MP3));
    g_MuxScript.dynBufAnswer = AVERROR(ENOMEM);
    LogCapture log;
    EXPECT_EQ(muxer.BeginWriteBuf(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::BeginWriteBuf: failed!")));
}

TEST_F(MuxerMem, GivesANullBufferForAPieceOfNothing) {
    CMuxerMem& muxer = Created(H264And(AV_CODEC_ID_MP3));
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    unsigned char* buffer = m_Bytes.data();
    EXPECT_EQ(muxer.GetWriteBuf(buffer), 0);
    EXPECT_EQ(buffer, nullptr);
    muxer.FreeWriteBuf(nullptr);
}

TEST_F(MuxerMem, ThrowsAwayABufferThatIsOpenedTwice) {
    CMuxerMem& muxer = Created(H264And(AV_CODEC_ID_MP3));
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    ASSERT_EQ(muxer.WriteHeader(), 1);
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    EXPECT_THAT(TakePiece(), IsEmpty());
}

TEST_F(MuxerMem, WritesTheHeaderIntoThePiece) {
    CMuxerMem& muxer = Created(H264And(0));
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    ASSERT_EQ(muxer.WriteHeader(), 1);
    const std::vector<unsigned char> piece = TakePiece();
    ASSERT_EQ(piece.size(), IsFfmpeg7() ? 211u : 212u) << "the version in it is a letter shorter on FFmpeg 7";
    EXPECT_EQ(std::string(piece.begin(), piece.begin() + 3), "FLV");
}

TEST_F(MuxerMem, LetsFfmpegDescribeTheOutputAtTheHeader) {
    CMuxerMem& muxer = Created(H264And(AV_CODEC_ID_MP3));
    const FfmpegLines lines;
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    EXPECT_EQ(lines.Text(), "");
    ASSERT_EQ(muxer.WriteHeader(), 1);
    EXPECT_THAT(lines.Text(), testing::StartsWith("Output #0, flv, to '(null)':\n"));
}

TEST_F(MuxerMem, FailsEveryWriteWithoutAnOpenBuffer) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_PCM_S16LE));
    TakePiece();
    LogCapture log;
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 0), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteFrame: write_frame error: pts = 1, prevPts = 0"),
                    Ffmpeg(Severity::Critical, "CMuxerFile::WriteSound: write_frame error: pts = 1, prevPts = 0"),
                    Ffmpeg(Severity::Critical, "CMuxerMem::WriteTrailer: failed"),
                    Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed")));
}

TEST_F(MuxerMem, FailsTheHeaderWithoutAVideoStream) {
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    param.videoCodec = 0;
    CMuxerMem& muxer = Created(param);
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    LogCapture log;
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed"),
                                        Ffmpeg(Severity::Critical,
                                               "CMuxerMem::WriteFrame: write_frame error: pts = 1, prevPts = 0")));
}

TEST_F(MuxerMem, FailsOnAnObjectNeverCreated) {
    CMuxerMem muxer;
    LogCapture log;
    EXPECT_EQ(muxer.BeginWriteBuf(), 0);
    unsigned char* buffer = m_Bytes.data();
    EXPECT_EQ(muxer.GetWriteBuf(buffer), 0);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 0), 0);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 0);
    muxer.Destroy();
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::BeginWriteBuf: failed!"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::WriteTrailer: failed"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::WriteSound: audio stream not added"),
                                        Ffmpeg(Severity::Critical,
                                               "CMuxerMem::WriteFrame: write_frame error: pts = 1, prevPts = 0")));
}

TEST_F(MuxerMem, GivesTheFirstPictureTickOne) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 777), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 0, 777), 1);
    ASSERT_EQ(g_MuxScript.written.size(), 2u);
    EXPECT_EQ(g_MuxScript.written[0].pts, 1);
    EXPECT_EQ(g_MuxScript.written[0].flags, AV_PKT_FLAG_KEY);
    EXPECT_EQ(g_MuxScript.written[0].dts, AV_NOPTS_VALUE);
    EXPECT_EQ(g_MuxScript.written[0].data, m_Bytes.data());
    EXPECT_EQ(g_MuxScript.written[1].pts, 2);
    EXPECT_EQ(g_MuxScript.written[1].flags, 0);
}

TEST_F(MuxerMem, TakesAnyNumberButZeroForAKeyFrame) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 2, 0), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, -1, 0), 1);
    ASSERT_EQ(g_MuxScript.written.size(), 2u);
    EXPECT_EQ(g_MuxScript.written[0].flags, AV_PKT_FLAG_KEY);
    EXPECT_EQ(g_MuxScript.written[1].flags, AV_PKT_FLAG_KEY);
}

TEST_F(MuxerMem, FailsEverythingAfterDestroy) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 1000), 1);
    TakePiece();
    muxer.Destroy();
    LogCapture log;
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 5000), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_EQ(muxer.BeginWriteBuf(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CMuxerMem::WriteFrame: write_frame error: pts = 1, prevPts = 0"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::WriteTrailer: failed"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::BeginWriteBuf: failed!")));
}

TEST_F(MuxerMem, SaysThatABlockIsEmpty) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    LogCapture log;
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 0, 1, 0), 0);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), -1, 0), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteFrame: no buffer"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::WriteSound: no buffer")));
}

TEST_F(MuxerMem, ReportsARefusedPicture) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    g_MuxScript.failFrom = 0;
    LogCapture log;
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CMuxerMem::WriteFrame: write_frame error: pts = 1, prevPts = 0")));
}

TEST_F(MuxerMem, CutsMp3WithTheRatesTheOtherWayRound) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    LogCapture log;
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 500), 1);
    EXPECT_THAT(log.Take(), IsEmpty());
    ASSERT_EQ(g_MuxScript.written.size(), 2u);
    EXPECT_EQ(g_MuxScript.written[0].size, 49);
    EXPECT_EQ(g_MuxScript.written[1].size, 49);
    EXPECT_EQ(g_MuxScript.written[1].data, m_Bytes.data() + 49);
    EXPECT_EQ(g_MuxScript.written[0].pts, 1);
    EXPECT_EQ(g_MuxScript.written[1].pts, 26);
    EXPECT_EQ(g_MuxScript.written[1].flags, AV_PKT_FLAG_KEY);
}

TEST_F(MuxerMem, WritesNothingOfLessThanAFrame) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    LogCapture log;
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 48, 0), 1);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_THAT(g_MuxScript.written, IsEmpty());
}

TEST_F(MuxerMem, CutsNothingAtABitRateOfZero) {
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    param.audioBitRate = 0;
    CMuxerMem& muxer = Ready(param);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 0), 1);
    EXPECT_THAT(g_MuxScript.written, IsEmpty());
}

TEST_F(MuxerMem, CutsNothingAtRatesWithoutAQuotient) {
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    param.sampleRate = 1 << 27;  // 144 times as much is the least 32-bit number
    param.audioBitRate = -1;
    CMuxerMem& muxer = Created(param);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 0), 1);
    EXPECT_THAT(g_MuxScript.written, IsEmpty());
}

TEST_F(MuxerMem, KeepsTheHostsTimesForOtherSound) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_PCM_S16LE));
    for (const long long pts : {100, 200, 300}) {
        EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 105, pts), 1);
    }
    ASSERT_EQ(g_MuxScript.written.size(), 3u);
    EXPECT_EQ(g_MuxScript.written[0].size, 105);
    EXPECT_EQ(g_MuxScript.written[0].pts, 1);
    EXPECT_EQ(g_MuxScript.written[1].pts, 100);
    EXPECT_EQ(g_MuxScript.written[2].pts, 200);
}

TEST_F(MuxerMem, ReportsRefusedSoundUnderTheOtherClassesName) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    g_MuxScript.failFrom = 1;
    LogCapture log;
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 100, 0), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CMuxerFile::WriteSound: write_frame error: pts = 26, prevPts = 1")));
}

TEST_F(MuxerMem, LeavesTheBytesOfATrailerAlone) {
    // FLV's trailer would go back to offsets of the header, inside the piece of the trailer.
    g_MuxScript.passOn = true;
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 2000, 1, 0), 1);
    ASSERT_EQ(TakePiece().size(), 0u);  // held back for sound that may come
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    const std::vector<unsigned char> piece = TakePiece();
    // The picture that was held back (an 11-byte tag, 5 bytes of AVC head, 4 of length), then the end of sequence.
    const std::size_t picture = 11 + 5 + 2000 + 4;
    ASSERT_EQ(piece.size(), picture + 11 + 5 + 4);
    const std::vector<unsigned char> end(piece.end() - 20, piece.end());
    EXPECT_EQ(end, (std::vector<unsigned char>{9, 0, 0, 5, 0, 0, 1, 0, 0, 0, 0, 0x17, 2, 0, 0, 0, 0, 0, 0, 16}));
    EXPECT_EQ(std::vector<unsigned char>(piece.begin() + 16, piece.begin() + 2016), PictureBytes(2000));
}

MUXER_PARAM H264AndAac() {
    MUXER_PARAM param = H264And(AV_CODEC_ID_AAC);
    param.sampleRate = 48000;
    param.channels = 2;
    return param;
}

std::vector<unsigned char> AdtsFrame() {
    std::vector<unsigned char> frame{0xFF, 0xF1, 0x4C, 0x80, 0x02, 0x1F, 0xFC};  // 48000 Hz, stereo, 16 bytes
    frame.resize(16, 0x21);
    return frame;
}

// What FLV makes of it at 20 ms: the tag of the header, and the tag of the packet without ADTS.
std::vector<unsigned char> TagsOfAdtsFrame() {
    std::vector<unsigned char> tags{8, 0, 0, 4, 0, 0, 20, 0, 0, 0, 0, 0xAF, 0, 0x11, 0x90, 0, 0, 0, 15};
    tags.insert(tags.end(), {8, 0, 0, 11, 0, 0, 20, 0, 0, 0, 0, 0xAF, 1});
    tags.insert(tags.end(), 9, 0x21);
    tags.insert(tags.end(), {0, 0, 0, 22});
    return tags;
}

TEST_F(MuxerMem, CompletesTheHeaderOfAacThatComesWithTheTrailer) {
    g_MuxScript.passOn = true;
    CMuxerMem& muxer = Ready(H264AndAac());
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 100, 1, 0), 1);
    std::vector<unsigned char> frame = AdtsFrame();
    ASSERT_EQ(muxer.WriteSound(frame.data(), 16, 20), 1);
    TakePiece();
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    std::vector<unsigned char> piece = TakePiece();
    ASSERT_EQ(piece.size(), TagsOfAdtsFrame().size() + 20) << "and the end of the pictures' sequence";
    piece.resize(TagsOfAdtsFrame().size());
    EXPECT_EQ(piece, TagsOfAdtsFrame());
}

// A picture that FLV cannot hold is taken by the interleaver and refused when it leaves.
TEST_F(MuxerMem, FailsATrailerThatCannotLetOutAPicture) {
    g_MuxScript.passOn = true;
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    m_Bytes.resize(1 << 24, 0x55);
    ASSERT_EQ(muxer.WriteFrame(m_Bytes.data(), 1 << 24, 1, 0), 1);
    LogCapture log;
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    const LoggedLine line = Ffmpeg(Severity::Critical, "CMuxerMem::WriteTrailer: failed");
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
}

TEST_F(MuxerMem, TakesTheOriginFromAnEmptyBlockAndAgainAfterAHeader) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_PCM_S16LE));
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 0, 1, 1000), 0);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 1040), 1);
    EXPECT_EQ(g_MuxScript.written.back().pts, 40);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 1060), 1);
    EXPECT_EQ(g_MuxScript.written.back().pts, 60);
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    ASSERT_EQ(muxer.WriteHeader(), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 1040), 1);
    EXPECT_EQ(g_MuxScript.written.back().pts, 1);
    EXPECT_EQ(muxer.WriteSound(m_Bytes.data(), 10, 1040), 1);
    EXPECT_EQ(g_MuxScript.written.back().pts, 1);
}

TEST_F(MuxerMem, FailsEverythingAfterARefusedHeader) {
    MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
    param.videoCodec = AV_CODEC_ID_MJPEG;  // not in FLV
    CMuxerMem& muxer = Created(param);
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    LogCapture log;
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 0);
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed"),
                                        Ffmpeg(Severity::Critical,
                                               "CMuxerMem::WriteFrame: write_frame error: pts = 1, prevPts = 0"),
                                        Ffmpeg(Severity::Critical, "CMuxerMem::WriteTrailer: failed")));
}

TEST_F(MuxerMem, CountsAPositiveAnswerToTheHeaderAsAFailure) {
    // What libavformat answers to a header after a header, with its streams set up already.
    g_MuxScript.passOn = true;
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    LogCapture log;
    EXPECT_EQ(muxer.WriteHeader(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed")));
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 1);
    EXPECT_EQ(muxer.WriteTrailer(), 1);
}

TEST_F(MuxerMem, GoesOnAfterATrailerWithoutABuffer) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    TakePiece();
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    EXPECT_EQ(muxer.WriteFrame(m_Bytes.data(), 10, 1, 0), 1);
    EXPECT_EQ(muxer.WriteTrailer(), 1);
}

TEST_F(MuxerMem, NeverReadsOutsideABlockOfMp3) {
    const unsigned int seed = 20260801;
    RecordProperty("seed", static_cast<int>(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        const int bitRates[] = {312, 8000, 32000, 64000, 128000, 320000, 6350400};
        const int rates[] = {8000, 22050, 44100, 48000};
        MUXER_PARAM param = H264And(AV_CODEC_ID_MP3);
        param.audioBitRate = bitRates[random() % 7];
        param.sampleRate = rates[random() % 4];
        CMuxerMem muxer;
        ASSERT_EQ(muxer.Create("MPEG-2 transport stream format", &param), 1);
        ASSERT_EQ(muxer.BeginWriteBuf(), 1);
        ASSERT_EQ(muxer.WriteHeader(), 1);
        const auto size = static_cast<int>(1 + random() % 4000);
        const auto block = std::make_unique<unsigned char[]>(static_cast<std::size_t>(size));
        g_MuxScript.written.clear();
        EXPECT_EQ(muxer.WriteSound(block.get(), size, 0), 1) << "seed " << seed << ", round " << round;
        const int frameBytes = param.sampleRate * 144 / param.audioBitRate;
        EXPECT_EQ(g_MuxScript.written.size(), frameBytes > 0 ? static_cast<std::size_t>(size / frameBytes) : 0u);
        EXPECT_EQ(muxer.WriteTrailer(), 1);
        unsigned char* buffer = nullptr;
        muxer.GetWriteBuf(buffer);
        muxer.FreeWriteBuf(buffer);
        muxer.Destroy();
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(MuxerMem, LosesNoMemoryOfABufferThatIsOpenedTwice) {
    CMuxerMem& muxer = Created(H264And(AV_CODEC_ID_MP3));
    ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(muxer.BeginWriteBuf(), 1);
    }
    EXPECT_LT(mallinfo2().uordblks, before + 10000);
}

TEST_F(MuxerMem, LeavesAFewKilobytesBehind) {
    g_MuxScript.passOn = true;
    const auto life = [this] {
        Ready(H264And(AV_CODEC_ID_MP3)).WriteFrame(m_Bytes.data(), 10, 1, 0);
        m_pMuxer->WriteTrailer();
        TakePiece();
        m_pMuxer->Delete();
        m_pMuxer = nullptr;
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

TEST_F(MuxerMem, FailsAfterTheTrailer) {
    CMuxerMem& muxer = Ready(H264And(AV_CODEC_ID_MP3));
    ASSERT_EQ(muxer.WriteTrailer(), 1);
    LogCapture log;
    EXPECT_EQ(muxer.WriteTrailer(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteTrailer: failed")));
}

}  // namespace
