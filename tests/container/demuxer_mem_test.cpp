#include "container/demuxer_mem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "codrelay/codrelay.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "front/registry/ffmpeg_registry.h"
#include "support/ffmpeg.h"

namespace {

// Set by a thread that wants to be seen when it blocks for space; raised just before it does.
thread_local std::atomic<bool>* t_pBlocks = nullptr;
// How often a reader has begun to wait for bytes.
std::atomic<std::size_t> g_nReaderWaits{0};
// How many threads have ended with nobody waiting for them.
std::atomic<int> g_nDetached{0};
std::atomic<bool> g_bNoThreads{false};

void AwaitReaderWaits(std::size_t count) {
    while (g_nReaderWaits < count) {
        std::this_thread::yield();
    }
}

}  // namespace

extern "C" bool __real__ZN14CConditionWait4WaitEv(CConditionWait* self);
extern "C" bool __wrap__ZN14CConditionWait4WaitEv(CConditionWait* self) {
    if (t_pBlocks != nullptr) {
        *t_pBlocks = true;
    } else {
        ++g_nReaderWaits;
    }
    return __real__ZN14CConditionWait4WaitEv(self);
}

#define SCRIPTED extern "C" __attribute__((visibility("default")))

extern "C" int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                                     void* arg);
SCRIPTED int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                                   void* arg) {
    return g_bNoThreads ? EAGAIN : __real_pthread_create(thread, attributes, body, arg);
}

extern "C" int __real_pthread_detach(pthread_t thread);
SCRIPTED int __wrap_pthread_detach(pthread_t thread) {
    const int result = __real_pthread_detach(thread);
    ++g_nDetached;
    return result;
}

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

constexpr unsigned int kCapacity = 524288;
constexpr int kSmallPieces = 100;
constexpr unsigned int kWatchdogSeconds = 240;

struct Packet {
    int stream;
    long long pts;
    long long dts;
    unsigned int key;
    std::vector<unsigned char> bytes;

    bool operator==(const Packet& other) const {
        return stream == other.stream && pts == other.pts && dts == other.dts && key == other.key &&
               bytes == other.bytes;
    }
    bool operator!=(const Packet& other) const { return !(*this == other); }
};

void PrintTo(const Packet& packet, std::ostream* out) {
    *out << "stream " << packet.stream << " pts " << packet.pts << " dts " << packet.dts << " key " << packet.key
         << ", " << packet.bytes.size() << " bytes";
}

// Collects what the reader thread tells, and can hold it inside a callback.
class Collector : public CDemuxerMemCallback {
public:
    int OnVideoStream(int streamIndex, int codecId) override {
        Note("video " + std::to_string(streamIndex) + " codec " + std::to_string(codecId));
        return 0;
    }
    int OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) override {
        Note("audio " + std::to_string(streamIndex) + " codec " + std::to_string(codecId) + " " +
             std::to_string(format->sampleRate) + "/" + std::to_string(format->channels) + "/" +
             std::to_string(format->sampleFormat));
        return 0;
    }
    int OnPacket(DEMUXER_PACKET* packet) override {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Packets.push_back({packet->streamIndex,
                             packet->pts,
                             packet->dts,
                             packet->keyFrame,
                             {packet->data, packet->data + packet->size}});
        Stop(&lock);
        return 0;
    }

    // From now on every callback stays until Release.
    void Hold() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_bHeld = true;
    }
    void Release() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_bHeld = false;
        m_Changed.notify_all();
    }
    void AwaitCallbacks(std::size_t count) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Changed.wait(lock, [&] { return m_Streams.size() + m_Packets.size() >= count; });
    }
    bool StreamAfterPacket() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_bStreamAfterPacket;
    }
    std::set<std::thread::id> Threads() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Threads;
    }
    std::vector<std::string> Streams() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Streams;
    }
    std::vector<Packet> Packets() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Packets;
    }

private:
    void Note(const std::string& stream) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Streams.push_back(stream);
        m_bStreamAfterPacket = m_bStreamAfterPacket || !m_Packets.empty();
        Stop(&lock);
    }
    void Stop(std::unique_lock<std::mutex>* lock) {
        m_Threads.insert(std::this_thread::get_id());
        m_Changed.notify_all();
        m_Changed.wait(*lock, [this] { return !m_bHeld; });
    }

    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_bHeld = false;
    bool m_bStreamAfterPacket = false;
    std::set<std::thread::id> m_Threads;
    std::vector<std::string> m_Streams;
    std::vector<Packet> m_Packets;
};

// A plain libavformat loop over bytes in memory, without a look at the streams beyond the header.
struct PlainReader {
    const std::vector<unsigned char>& bytes;
    std::size_t smallPiece = 0;  // the length of the first kSmallPieces reads, or 0
    std::size_t position = 0;
    int reads = 0;

    static int Read(void* opaque, unsigned char* out, int size) {
        auto* self = static_cast<PlainReader*>(opaque);
        const bool isSmall = self->smallPiece != 0 && self->reads++ < kSmallPieces;
        const std::size_t count = std::min<std::size_t>(isSmall ? self->smallPiece : static_cast<std::size_t>(size),
                                                        self->bytes.size() - self->position);
        if (count == 0) {
            return AVERROR_EOF;
        }
        std::memcpy(out, self->bytes.data() + self->position, count);
        self->position += count;
        return static_cast<int>(count);
    }

    std::vector<Packet> AllPackets(const char* formatName) {
        AVFormatContext* context = avformat_alloc_context();
        AVIOContext* io = avio_alloc_context(static_cast<unsigned char*>(av_malloc(kCapacity)), kCapacity, 0, this,
                                             Read, nullptr, nullptr);
        context->flags |= AVFMT_FLAG_CUSTOM_IO;
        context->pb = io;
        std::vector<Packet> packets;
        if (avformat_open_input(&context, "", GetMainFfmpegCodecLib()->FindInFormat(formatName), nullptr) >= 0) {
            AVPacket packet;
            av_init_packet(&packet);
            while (av_read_frame(context, &packet) >= 0) {
                packets.push_back({packet.stream_index,
                                   packet.pts,
                                   packet.dts,
                                   static_cast<unsigned int>(packet.flags & AV_PKT_FLAG_KEY),
                                   {packet.data, packet.data + packet.size}});
                av_packet_unref(&packet);
            }
            avformat_close_input(&context);
        }
        av_freep(&io->buffer);
        av_free(io);
        return packets;
    }
};

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

// A thread inside WriteData.
class BlockedWriter {
public:
    BlockedWriter(CDemuxerMemBase* demuxer, unsigned char* data, unsigned int size)
        : m_Thread([=] {
              t_pBlocks = &m_bBlocks;
              m_bStored = demuxer->WriteData(data, size);
              m_bReturned = true;
          }) {}

    void AwaitBlocked() {
        while (!m_bBlocks) {
            std::this_thread::yield();
        }
    }
    bool HasReturned() const { return m_bReturned; }
    // What WriteData answered.
    bool Join() {
        m_Thread.join();
        return m_bStored;
    }

private:
    std::atomic<bool> m_bBlocks{false};
    std::atomic<bool> m_bReturned{false};
    bool m_bStored = false;
    std::thread m_Thread;
};

class DemuxerMem : public testing::Test {
protected:
    // A hang must end the run, not the patience of whoever waits for it.
    DemuxerMem() {
        alarm(kWatchdogSeconds);
        av_log_set_level(AV_LOG_QUIET);
    }
    ~DemuxerMem() override { alarm(0); }

    static std::vector<unsigned char> Film() { return ReadFile(Clip("demux_memory.asf")); }
    static std::vector<unsigned char> MuLaw() { return ReadFile(Clip("mux_mulaw.wav")); }
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

TEST_F(DemuxerMem, LogsTheThreadThatHasGoneAtDelete) {
    Collector collector;
    auto* demuxer = new CDemuxerMem;
    std::vector<unsigned char> bytes(1);
    g_nDetached = 0;
    ASSERT_EQ(demuxer->Create("unknown", &collector), 1);
    while (demuxer->WriteData(bytes.data(), 1)) {
    }
    // The buffer is closed as the last act of the body; then the thread detaches itself.
    while (g_nDetached == 0) {
        std::this_thread::yield();
    }
    LogCapture log;
    demuxer->Delete();
    EXPECT_THAT(log.Take(), ElementsAre(Codrelay(Severity::Trace, "CThread::WaitThread: thread_id == 0 #1")));
}

TEST_F(DemuxerMem, ReportsAThreadThatCannotBeHadAndKeepsTheBufferUntilDestroy) {
    Collector collector;
    CDemuxerMem demuxer;
    g_bNoThreads = true;
    LogCapture log;
    EXPECT_EQ(demuxer.Create("WAV format", &collector), 0);
    const std::vector<LoggedLine> lines = log.Take();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), Ffmpeg(Severity::Critical, "CDemuxerMem::Create(): FAILED to create decoder thread!"));
    unsigned char byte = 0;
    EXPECT_TRUE(demuxer.WriteData(&byte, 1));
    demuxer.Destroy();
    EXPECT_FALSE(demuxer.WriteData(&byte, 1));
    log.Take();
    EXPECT_EQ(Codrelay_DemuxerMem(DEMUXER_FORMAT_WAV, &collector), nullptr);
    EXPECT_EQ(log.Take().back(), Ffmpeg(Severity::Critical, "NewFFmpegDemuxerMem: create failed 1"));
    g_bNoThreads = false;
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

TEST_F(DemuxerMem, FindsNoStreamInATransportStreamOfSingleBytes) {
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
        }
        demuxer->WriteData(&bytes[i], 1);
    }
    demuxer->Delete();
    for (LoggedLine& line : log.Take()) {
        lines.push_back(line);
    }
    EXPECT_THAT(lines, ElementsAre(Ffmpeg(Severity::Error, "DemuxerThreadProc: empty container!")));
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

TEST_F(DemuxerMem, IsHarmlessToDestroyWhenNeverCreated) {
    CDemuxerMem demuxer;
    LogCapture log;
    demuxer.Destroy();
    demuxer.Destroy();
    const LoggedLine line = Codrelay(Severity::Trace, "CThread::WaitThread: thread_id == 0 #1");
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
    unsigned char byte = 0;
    EXPECT_FALSE(demuxer.WriteData(&byte, 1));
    EXPECT_FALSE(demuxer.WriteData(&byte, 0));
}

TEST_F(DemuxerMem, StoresNothingAfterDestroy) {
    Collector collector;
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    EXPECT_TRUE(demuxer.WriteData(nullptr, 0));
    demuxer.Destroy();
    EXPECT_FALSE(demuxer.WriteData(nullptr, 0));
}

TEST_F(DemuxerMem, ReplacesTheFirstThreadAtASecondCreate) {
    std::vector<unsigned char> film = Film();
    std::vector<unsigned char> sound = MuLaw();
    Collector first;
    Collector second;
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("ASF format", &first), 1);
    ASSERT_TRUE(demuxer.WriteData(film.data(), static_cast<unsigned int>(film.size())));
    first.AwaitCallbacks(1);
    ASSERT_EQ(demuxer.Create("WAV format", &second), 1);
    const std::size_t told = first.Packets().size();
    ASSERT_TRUE(demuxer.WriteData(sound.data(), static_cast<unsigned int>(sound.size())));
    second.AwaitCallbacks(2);
    demuxer.Destroy();
    EXPECT_EQ(first.Packets().size(), told);
    EXPECT_THAT(second.Streams(), ElementsAre("audio 0 codec 100 8000/1/2"));
}

TEST_F(DemuxerMem, WaitsForAThreadThatNobodyDestroyed) {
    Collector collector;
    LogCapture log(Severity::Info);
    { CDemuxerMem demuxer; }
    EXPECT_THAT(log.Take(), IsEmpty());
    {
        CDemuxerMem demuxer;
        ASSERT_EQ(demuxer.Create("ASF format", &collector), 1);
        collector.Hold();
        std::vector<unsigned char> bytes = Film();
        ASSERT_TRUE(demuxer.WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
        collector.AwaitCallbacks(1);
        collector.Release();
    }
    EXPECT_THAT(log.Take(), Contains(Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")));
}

// --- Back-pressure.

// A WAV whose data chunk has no end.
std::vector<unsigned char> EndlessMuLaw(std::size_t size) {
    const unsigned char header[] = {'R',  'I',  'F', 'F', 0xFF, 0xFF, 0xFF, 0xFF, 'W',  'A', 'V', 'E',
                                    'f',  'm',  't', ' ', 18,   0,    0,    0,    7,    0,   1,   0,
                                    0x40, 0x1F, 0,   0,   0x40, 0x1F, 0,    0,    1,    0,   8,   0,
                                    0,    0,    'd', 'a', 't',  'a',  0xFF, 0xFF, 0xFF, 0xFF};
    std::vector<unsigned char> bytes(std::begin(header), std::end(header));
    bytes.resize(size);
    return bytes;
}

TEST_F(DemuxerMem, TakesOneLapFromAHostWhoseReaderIsHeldAndThenBlocks) {
    std::vector<unsigned char> bytes = MuLaw();
    bytes.resize(kCapacity + 1);
    Collector collector;
    collector.Hold();
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    // The header goes first, and the reader is held with it; what it has read still counts.
    ASSERT_TRUE(demuxer.WriteData(bytes.data(), 4096));
    collector.AwaitCallbacks(1);
    ASSERT_TRUE(demuxer.WriteData(bytes.data() + 4096, kCapacity - 4096));
    BlockedWriter writer(&demuxer, bytes.data() + kCapacity, 1);
    writer.AwaitBlocked();
    EXPECT_FALSE(writer.HasReturned());
    collector.Release();
    EXPECT_TRUE(writer.Join());
    demuxer.Destroy();
}

TEST_F(DemuxerMem, CompletesAWriteOfManyLapsInPieces) {
    std::vector<unsigned char> bytes = EndlessMuLaw(5 * kCapacity + 17);
    Collector collector;
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    EXPECT_TRUE(demuxer.WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    demuxer.Destroy();
    EXPECT_GE(collector.Packets().size(), 1u);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
long long PeakKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0) {
            return std::stoll(line.substr(6));
        }
    }
    return -1;
}

TEST_F(DemuxerMem, NeedsNoMoreMemoryForAGibibyte) {
    class Slow : public CDemuxerMemCallback {
    public:
        int OnVideoStream(int, int) override { return 0; }
        int OnAudioStream(int, int, AUDIO_FORMAT*) override { return 0; }
        int OnPacket(DEMUXER_PACKET* packet) override {
            for (int i = 0; i < packet->size; ++i) {  // slower than the writer
                m_nSum = m_nSum * 31 + packet->data[i];
            }
            m_nBytes += packet->size;
            return 0;
        }
        unsigned int m_nSum = 0;
        long long m_nBytes = 0;
    };
    std::vector<unsigned char> bytes = EndlessMuLaw(1 << 20);
    Slow slow;
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &slow), 1);
    const long long before = PeakKilobytes();
    for (int i = 0; i < 1024; ++i) {
        ASSERT_TRUE(demuxer.WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    }
    demuxer.Destroy();
    EXPECT_GT(slow.m_nBytes, 1000LL << 20);
    // The buffer and libavformat's own, not the data.
    EXPECT_LT(PeakKilobytes() - before, 8 * 1024);
}
#endif

// --- Shut-down at every point. Thread sanitizer runs want many rounds; each is short.

#if defined(__SANITIZE_THREAD__)
constexpr int kRounds = 1000;
#else
constexpr int kRounds = 100;
#endif

TEST_F(DemuxerMem, EndsBeforeTheFirstByte) {
    for (int i = 0; i < kRounds; ++i) {
        Collector collector;
        CDemuxerMemBase* demuxer =
            Codrelay_DemuxerMem(i % 2 == 0 ? DEMUXER_FORMAT_WAV : DEMUXER_FORMAT_ASF, &collector);
        ASSERT_NE(demuxer, nullptr);
        demuxer->Delete();
        EXPECT_THAT(collector.Packets(), IsEmpty());
    }
}

TEST_F(DemuxerMem, LogsAShutDownInsideTheHeaderInTheRoutineWay) {
    std::vector<unsigned char> bytes = Film();
    Collector collector;
    auto* demuxer = new CDemuxerMem;
    LogCapture log(Severity::Warning);
    ASSERT_EQ(demuxer->Create("ASF format", &collector), 1);
    ASSERT_TRUE(demuxer->WriteData(bytes.data(), 100));
    demuxer->Delete();
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: avformat_open_input() FAILED!"),
                            Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to open demuxer stream!")));
}

TEST_F(DemuxerMem, EndsInsideTheHeader) {
    std::vector<unsigned char> bytes = Film();
    for (int i = 0; i < kRounds; ++i) {
        Collector collector;
        CDemuxerMem demuxer;
        ASSERT_EQ(demuxer.Create("ASF format", &collector), 1);
        ASSERT_TRUE(demuxer.WriteData(bytes.data(), static_cast<unsigned int>(1 + i % 600)));
        demuxer.Destroy();
    }
}

TEST_F(DemuxerMem, EndsAtEveryPacketBoundary) {
    std::vector<unsigned char> bytes = Film();
    const std::size_t packets = PlainReader{bytes}.AllPackets("ASF format").size();
    const std::size_t streams = 2;
    for (std::size_t stop = 1; stop <= packets; ++stop) {
        Collector collector;
        CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_ASF, &collector);
        demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size()));
        // A packet's end is seen by the next one's beginning, so the last waits for bytes that do not come.
        collector.AwaitCallbacks(streams + std::min(stop, packets - 2));
        demuxer->Delete();
    }
}

TEST_F(DemuxerMem, EndsWhileACallbackRuns) {
    std::vector<unsigned char> bytes = Film();
    for (int i = 0; i < kRounds; ++i) {
        Collector collector;
        collector.Hold();
        CDemuxerMem demuxer;
        ASSERT_EQ(demuxer.Create("ASF format", &collector), 1);
        demuxer.WriteData(bytes.data(), static_cast<unsigned int>(bytes.size()));
        collector.AwaitCallbacks(1);
        std::thread releaser([&] { collector.Release(); });
        demuxer.Destroy();
        releaser.join();
    }
}

TEST_F(DemuxerMem, WakesAWriterThatBlocksAndItTellsFalse) {
    std::vector<unsigned char> bytes = Film();
    bytes.resize(kCapacity);
    for (int i = 0; i < kRounds; ++i) {
        Collector collector;
        collector.Hold();
        CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_ASF, &collector);
        ASSERT_TRUE(demuxer->WriteData(bytes.data(), kCapacity));
        collector.AwaitCallbacks(1);
        BlockedWriter writer(demuxer, bytes.data(), kCapacity);
        writer.AwaitBlocked();
        std::thread releaser([&] { collector.Release(); });
        if (i % 2 == 0) {
            demuxer->Destroy();
            EXPECT_FALSE(writer.Join());
            demuxer->Delete();
        } else {
            demuxer->Delete();
            EXPECT_FALSE(writer.Join());
        }
        releaser.join();
    }
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

}  // namespace
