#include "container/demuxer_mem.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "codrelay/codrelay.h"
#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "container/demuxer_mem_fixture.h"
#include "container/demuxer_threads_script.h"
#include "container/packet_collector.h"
#include "container/plain_reader.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

// Pushes everything in chunks, then fills the buffer's lap and writes one byte more: that one blocks until the reader
// has taken the whole lap, so no byte of the data is lost at the end.
class Pusher {
public:
    explicit Pusher(CDemuxerMemBase* demuxer) : m_pDemuxer(demuxer) {}

    bool Push(std::vector<unsigned char>& bytes, const std::function<std::size_t()>& nextChunk) {
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t chunk = std::min(nextChunk(), bytes.size() - at);
            if (!Write(bytes.data() + at, chunk)) {
                return false;
            }
            at += chunk;
        }
        return true;
    }
    void Flush() {
        std::vector<unsigned char> filler(kCapacity - m_nTotal % kCapacity + 1);
        Write(filler.data(), filler.size());
    }

private:
    bool Write(unsigned char* data, std::size_t size) {
        m_nTotal += size;
        return m_pDemuxer->WriteData(data, static_cast<unsigned int>(size));
    }

    CDemuxerMemBase* m_pDemuxer;
    std::size_t m_nTotal = 0;
};

struct Stream {
    const char* name;
    const char* format;
    const char* clip;
    std::size_t smallestChunk;
};

class DemuxerMemPackets : public DemuxerMem, public testing::WithParamInterface<std::tuple<Stream, std::size_t>> {};

// The lap that Flush fills belongs to the stream. Its one byte more does only if the reader was back for it before the
// demuxer was deleted, which shows where a format makes a packet of whatever it finds last.
void ExpectPacketsOfAPlainLoop(const std::vector<Packet>& packets, std::vector<unsigned char> bytes, const char* format,
                               std::size_t smallPiece = 0) {
    bytes.resize(kCapacity);
    std::vector<Packet> expected = PlainReader{bytes, smallPiece}.AllPackets(format);
    ASSERT_FALSE(expected.empty());
    if (!packets.empty() && packets.back() != expected.back()) {
        bytes.push_back(0);
        expected = PlainReader{bytes, smallPiece}.AllPackets(format);
    }
    ASSERT_EQ(packets.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(packets[i], expected[i]) << "packet " << i;
    }
}

TEST_P(DemuxerMemPackets, AreThoseOfAPlainLoop) {
    const auto& [stream, chunk] = GetParam();
    std::vector<unsigned char> bytes = ReadFile(Clip(stream.clip));
    Collector collector;
    auto* demuxer = new CDemuxerMem;
    ASSERT_EQ(demuxer->Create(stream.format, &collector), 1);
    Pusher pusher(demuxer);
    std::mt19937 random(2021);  // for a chunk of 0, which stands for any
    pusher.Push(bytes, [&, size = chunk] { return size != 0 ? size : stream.smallestChunk + random() % 70000; });
    pusher.Flush();
    demuxer->Delete();
    ExpectPacketsOfAPlainLoop(collector.Packets(), bytes, stream.format);
}

const Stream kStreams[] = {
    {"pcm", "WAV format", "demux_sound.wav", 1},
    {"mulaw", "WAV format", "mux_mulaw.wav", 1},
    {"asf", "ASF format", "demux_memory.asf", 1},
    {"asf_foreign", "ASF format", "demux_foreign.asf", 1},
    {"avi", "AVI (Audio Video Interleaved)", "demux_memory.avi", 1},
};
// libavformat loses a frame of an MP3 that begins with a read of 10 to 39 bytes, on any input of that kind.
const Stream kMp3 = {"mp3", "MP2/3 (MPEG audio layer 2/3)", "mux_mp3_48000.mp3", 40};
const Stream kTransportStream = {"ts", "MPEG-TS (MPEG-2 Transport Stream)", "demux_film.ts", 4096};

std::string NameOf(const testing::TestParamInfo<std::tuple<Stream, std::size_t>>& info) {
    const std::size_t chunk = std::get<1>(info.param);
    return std::string(std::get<0>(info.param).name) + "_" + (chunk != 0 ? std::to_string(chunk) : "random");
}

INSTANTIATE_TEST_SUITE_P(, DemuxerMemPackets,
                         testing::Combine(testing::ValuesIn(kStreams),
                                          testing::Values<std::size_t>(1, 7, 4096, 524287, 524288, 524289, 0)),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(FromAFirstPieceOfSomeLength, DemuxerMemPackets,
                         testing::Combine(testing::Values(kMp3, kTransportStream),
                                          testing::Values<std::size_t>(4096, 524287, 524288, 524289, 0)),
                         NameOf);

// Each piece is taken before the next one comes, so both read the same, and lose the same.
TEST_F(DemuxerMem, TakesAnMp3InTinyPiecesAsAPlainLoopDoes) {
    std::vector<unsigned char> bytes = ReadFile(Clip(kMp3.clip));
    for (const std::size_t size : {1, 7, 10, 39, 40}) {
        SCOPED_TRACE(size);
        Collector collector;
        auto* demuxer = new CDemuxerMem;
        g_nReaderWaits = 0;
        ASSERT_EQ(demuxer->Create(kMp3.format, &collector), 1);
        Pusher pusher(demuxer);
        pusher.Push(bytes, [&, pieces = 0]() mutable {
            if (pieces < kSmallPieces) {
                AwaitReaderWaits(static_cast<std::size_t>(++pieces));
                return size;
            }
            return bytes.size();
        });
        pusher.Flush();
        demuxer->Delete();
        ExpectPacketsOfAPlainLoop(collector.Packets(), bytes, kMp3.format, size);
    }
}

TEST_F(DemuxerMem, TellsTheStreamsBeforeThePackets) {
    std::vector<unsigned char> bytes = Film();
    Collector collector;
    CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_ASF, &collector);
    ASSERT_NE(demuxer, nullptr);
    EXPECT_TRUE(demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    collector.AwaitCallbacks(3);
    demuxer->Delete();
    EXPECT_THAT(collector.Streams(), ElementsAre("video 0 codec 4", "audio 1 codec 4 44100/1/2"));
    EXPECT_FALSE(collector.StreamAfterPacket());
    EXPECT_THAT(collector.Threads(), testing::SizeIs(1));
    EXPECT_FALSE(collector.Threads().count(std::this_thread::get_id()));
}

TEST_F(DemuxerMem, ReadsWavByItsId) {
    std::vector<unsigned char> bytes = ReadFile(Clip("mux_mulaw.wav"));
    Collector collector;
    CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_WAV, &collector);
    ASSERT_NE(demuxer, nullptr);
    EXPECT_TRUE(demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    collector.AwaitCallbacks(2);
    demuxer->Delete();
    EXPECT_THAT(collector.Streams(), ElementsAre("audio 0 codec 100 8000/1/2"));
}

TEST_F(DemuxerMem, TellsEachStreamByItsOwnIndex) {
    std::vector<unsigned char> bytes = ReadFile(Clip("demux_sound_first.asf"));
    Collector collector;
    CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_ASF, &collector);
    EXPECT_TRUE(demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    collector.AwaitCallbacks(3);
    demuxer->Delete();
    EXPECT_THAT(collector.Streams(), ElementsAre("audio 0 codec 4 44100/1/2", "video 1 codec 4"));
}

// The streams and the first packet of each of two.
void Demux(const char* format, const char* clip, Collector* collector) {
    std::vector<unsigned char> bytes = ReadFile(Clip(clip));
    auto* demuxer = new CDemuxerMem;
    ASSERT_EQ(demuxer->Create(format, collector), 1);
    EXPECT_TRUE(demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    collector->AwaitCallbacks(4);
    demuxer->Delete();
}

TEST_F(DemuxerMem, HandsOutH264AsTheContainerHoldsIt) {
    Collector matroska;
    Demux("Matroska / WebM", "demux_film.mkv", &matroska);
    ASSERT_THAT(matroska.Streams(), ElementsAre("video 0 codec 8", "audio 1 codec 3 44100/2/2"));
    const std::vector<Packet> packets = matroska.Packets();
    const auto picture =
        std::find_if(packets.begin(), packets.end(), [](const Packet& each) { return each.stream == 0; });
    ASSERT_NE(picture, packets.end());
    const std::vector<unsigned char>& bytes = picture->bytes;
    const std::size_t firstUnit = bytes.at(0) << 24U | bytes.at(1) << 16U | bytes.at(2) << 8U | bytes.at(3);
    EXPECT_GT(firstUnit, 1u) << "a start code";
    EXPECT_LE(firstUnit + 4, bytes.size());
}

TEST_F(DemuxerMem, TellsNoRateAndChannelsThatTheHeaderDoesNotTell) {
    Collector transportStream;
    Demux(kTransportStream.format, kTransportStream.clip, &transportStream);
    EXPECT_THAT(transportStream.Streams(), ElementsAre("video 0 codec 8", "audio 1 codec 3 0/0/2"));
    Collector mp3;
    Demux(kMp3.format, kMp3.clip, &mp3);
    EXPECT_THAT(mp3.Streams(), ElementsAre("audio 0 codec 4 0/0/2"));
}

TEST_F(DemuxerMem, GivesMinusOneForForeignCodecs) {
    std::vector<unsigned char> bytes = ReadFile(Clip("demux_foreign.asf"));
    Collector collector;
    CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_ASF, &collector);
    EXPECT_TRUE(demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    collector.AwaitCallbacks(3);
    demuxer->Delete();
    EXPECT_THAT(collector.Streams(), ElementsAre("video 0 codec -1", "audio 1 codec -1 44100/1/2"));
}

// What a demuxer of that name has logged when its thread has ended by itself, and what follows.
struct EndedByItself {
    std::vector<LoggedLine> lines;
    std::vector<LoggedLine> atDelete;
};

EndedByItself RunToItsEnd(const char* format, std::vector<unsigned char> bytes) {
    Collector collector;
    LogCapture log(Severity::Error);
    auto* demuxer = new CDemuxerMem;
    EXPECT_EQ(demuxer->Create(format, &collector), 1);
    // Written until the thread has gone.
    while (demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size()))) {
    }
    EXPECT_FALSE(demuxer->WriteData(bytes.data(), 1));
    EXPECT_TRUE(demuxer->WriteData(nullptr, 0));
    EndedByItself result;
    result.lines = log.Take();
    demuxer->Delete();
    result.atDelete = log.Take();
    return result;
}

TEST_F(DemuxerMem, EndsOnAFormatThatThereIsNot) {
    const EndedByItself end = RunToItsEnd("unknown", std::vector<unsigned char>(100));
    EXPECT_THAT(end.lines,
                ElementsAre(Ffmpeg(Severity::Error, "FfmpegDemuxer::Create: FindInFormat(unknown) FAILED!"),
                            Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to create ffmpeg demuxer!")));
    EXPECT_THAT(end.atDelete, IsEmpty());
}

TEST_F(DemuxerMem, TakesAMissingNameForOneThatThereIsNot) {
    const EndedByItself end = RunToItsEnd(nullptr, std::vector<unsigned char>(100));
    EXPECT_THAT(end.lines,
                ElementsAre(Ffmpeg(Severity::Error, "FfmpegDemuxer::Create: FindInFormat() FAILED!"),
                            Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to create ffmpeg demuxer!")));
}

TEST_F(DemuxerMem, EndsOnAHeaderThatIsNone) {
    const EndedByItself end = RunToItsEnd("ASF format", std::vector<unsigned char>(kCapacity, 0x11));
    EXPECT_THAT(end.lines,
                ElementsAre(Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: avformat_open_input() FAILED!"),
                            Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to open demuxer stream!")));
}

std::vector<unsigned char> EmptyAsf() {
    // A header object of 30 bytes that counts no objects, then a data object.
    std::vector<unsigned char> bytes = {0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11, 0xA6, 0xD9,
                                        0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C, 30,   0,    0,    0,
                                        0,    0,    0,    0,    0,    0,    0,    0,    1,    2};
    const unsigned char data[] = {0x36, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11, 0xA6, 0xD9, 0x00, 0xAA,
                                  0x00, 0x62, 0xCE, 0x6C, 50,   0,    0,    0,    0,    0,    0,    0};
    bytes.insert(bytes.end(), std::begin(data), std::end(data));
    bytes.resize(80);
    return bytes;
}

TEST_F(DemuxerMem, EndsOnAnEmptyContainer) {
    const EndedByItself end = RunToItsEnd("ASF format", EmptyAsf());
    EXPECT_THAT(end.lines, ElementsAre(Ffmpeg(Severity::Error, "DemuxerThreadProc: empty container!")));
}

TEST_F(DemuxerMem, FindsNoStreamInFlvAfterTheOpen) {
    const EndedByItself end = RunToItsEnd("FLV (Flash Video)", ReadFile(Clip("flv1.flv")));
    EXPECT_THAT(end.lines, ElementsAre(Ffmpeg(Severity::Error, "DemuxerThreadProc: empty container!")));
}

TEST_F(DemuxerMem, TakesEveryOtherFormatIdAsUnknown) {
    for (const int id : {0, 3, -1}) {
        Collector collector;
        LogCapture log(Severity::Error);
        CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(id, &collector);
        ASSERT_NE(demuxer, nullptr);
        demuxer->Delete();
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Error, "FfmpegDemuxer::Create: FindInFormat(unknown) FAILED!"),
                                Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to create ffmpeg demuxer!")));
    }
}

// FFmpeg 4 does not recognise the stream when every read gives a single byte. Later generations do.
TEST_F(DemuxerMem, FindsNoStreamOnFfmpeg4InATransportStreamOfSingleBytes) {
    std::vector<unsigned char> bytes = ReadFile(Clip("demux_film.ts"));
    Collector collector;
    LogCapture log(Severity::Error);
    auto* demuxer = new CDemuxerMem;
    g_nReaderWaits = 0;
    ASSERT_EQ(demuxer->Create("MPEG-TS (MPEG-2 Transport Stream)", &collector), 1);
    // Each byte waits until the reader waits for it, so that every read gives a single one.
    std::vector<LoggedLine> lines;
    for (std::size_t i = 0; i < bytes.size() && lines.empty(); ++i) {
        while (g_nReaderWaits <= i && lines.empty()) {
            lines = log.Take();
            std::this_thread::yield();
        }
        demuxer->WriteData(&bytes[i], 1);
    }
    demuxer->Delete();
    for (LoggedLine& line : log.Take()) {
        lines.push_back(line);
    }
    if (IsReferenceFfmpeg()) {
        EXPECT_THAT(lines, ElementsAre(Ffmpeg(Severity::Error, "DemuxerThreadProc: empty container!")));
        EXPECT_THAT(collector.Streams(), IsEmpty());
    } else {
        EXPECT_THAT(lines, ElementsAre(Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")));
        EXPECT_THAT(collector.Streams(), ElementsAre("video 0 codec 8", "audio 1 codec 3 0/0/2"));
        EXPECT_FALSE(collector.Packets().empty());
    }
}

TEST_F(DemuxerMem, GivesAShortPcmWavDuringDelete) {
    // FFmpeg looks at 64 KiB of such a file before it tells the stream.
    std::vector<unsigned char> bytes = ReadFile(Clip("demux_sound.wav"));
    bytes.resize(20000);
    Collector collector;
    auto* demuxer = new CDemuxerMem;
    g_nReaderWaits = 0;
    ASSERT_EQ(demuxer->Create("WAV format", &collector), 1);
    AwaitReaderWaits(1);
    ASSERT_TRUE(demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    AwaitReaderWaits(2);
    EXPECT_THAT(collector.Streams(), IsEmpty());
    demuxer->Delete();
    EXPECT_THAT(collector.Streams(), ElementsAre("audio 0 codec 103 22050/2/2"));
    EXPECT_FALSE(collector.Packets().empty());
}

TEST(ReadDataProcTest, ReadsFromTheStartEachTime) {
    const std::string path = Clip("mux_mulaw.wav");
    unsigned char head[4] = {};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ReadDataProc(const_cast<char*>(path.c_str()), head, 4), 4);
        EXPECT_EQ(std::string(head, head + 4), "RIFF");
    }
    char missing[] = "/no/such/file";
    EXPECT_EQ(ReadDataProc(missing, head, 4), -1);
}

TEST(ReadDataProcTest, ReadsAsMuchAsIsAskedForAndThere) {
    std::string path = Clip("mux_mulaw.wav");
    const std::vector<unsigned char> file = ReadFile(path);
    const auto length = static_cast<int>(file.size());
    for (const int size : {-2147483647 - 1, -1, 0, 1, length - 1, length, length + 1, length + 5000}) {
        SCOPED_TRACE(size);
        const int expected = std::clamp(size, 0, length);
        std::vector<unsigned char> buffer(file.size() + 5000, 0xA5);
        EXPECT_EQ(ReadDataProc(path.data(), buffer.data(), size), expected);
        std::vector<unsigned char> read(file.begin(), file.begin() + expected);
        read.resize(buffer.size(), 0xA5);
        EXPECT_EQ(buffer, read);
    }
}

TEST(ReadDataProcTest, LeavesNoFileOpen) {
    std::string path = Clip("mux_mulaw.wav");
    unsigned char head[4] = {};
    const auto openFiles = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto before = openFiles();
    EXPECT_EQ(ReadDataProc(path.data(), head, 4), 4);
    EXPECT_EQ(openFiles(), before);
}

}  // namespace
