#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "codrelay/codrelay.h"
#include "common/log_capture.h"
#include "container/demuxer_mem.h"
#include "container/demuxer_mem_fixture.h"
#include "container/demuxer_threads_script.h"
#include "container/packet_collector.h"
#include "container/plain_reader.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

// A thread inside WriteData.
class BlockedWriter {
public:
    BlockedWriter(CDemuxerMemBase* demuxer, unsigned char* data, unsigned int size)
        : m_Thread([=] {
              RaiseWhenBlocking(&m_bBlocks);
              m_bStored = demuxer->WriteData(data, size);
              m_bReturned = true;
          }) {}

    void AwaitBlocked() {
        while (!m_bBlocks) {
            std::this_thread::yield();
        }
    }
    /// True if it returns without blocking.
    bool ReturnsAtOnce() {
        while (!m_bBlocks && !m_bReturned) {
            std::this_thread::yield();
        }
        return !m_bBlocks;
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

// --- The thread.

TEST_F(DemuxerMem, GivesFfmpegABufferOfALap) {
    Collector collector;
    CDemuxerMem demuxer;
    g_nIoBufferSize = 0;
    g_nReaderWaits = 0;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    AwaitReaderWaits(1);
    EXPECT_EQ(g_nIoBufferSize, 524288);
    demuxer.Destroy();
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

TEST_F(DemuxerMem, StoresNothingOnceTheThreadHasGone) {
    Collector collector;
    CDemuxerMem demuxer;
    unsigned char byte = 0;
    g_nDetached = 0;
    ASSERT_EQ(demuxer.Create("unknown", &collector), 1);
    while (g_nDetached == 0) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(demuxer.WriteData(&byte, 1));
    EXPECT_TRUE(demuxer.WriteData(nullptr, 0));
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

constexpr std::size_t kHeaderOfMuLaw = 46;

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

// A packet has 4096 bytes of sound, and FFmpeg reads ahead: in the callback of the last packet that is whole the reader
// has taken all that was there.
TEST_F(DemuxerMem, BlocksWhileOneByteOfALapIsNotRead) {
    std::vector<unsigned char> bytes = EndlessMuLaw(kCapacity + 1);
    const std::size_t wholePackets = (kCapacity - 1 - kHeaderOfMuLaw) / 4096;
    Collector collector;
    collector.Hold();
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    ASSERT_TRUE(demuxer.WriteData(bytes.data(), kCapacity - 1));
    for (std::size_t callbacks = 1; callbacks <= wholePackets; ++callbacks) {
        collector.AwaitCallbacks(callbacks);
        collector.Step();
    }
    collector.AwaitCallbacks(1 + wholePackets);
    ASSERT_TRUE(demuxer.WriteData(bytes.data() + kCapacity - 1, 1));
    BlockedWriter writer(&demuxer, bytes.data() + kCapacity, 1);
    EXPECT_FALSE(writer.ReturnsAtOnce());
    EXPECT_FALSE(writer.HasReturned());
    collector.Release();
    EXPECT_TRUE(writer.Join());
    demuxer.Destroy();
}

// The sound that came out.
std::vector<unsigned char> SoundOf(const std::vector<Packet>& packets) {
    std::vector<unsigned char> sound;
    for (const Packet& packet : packets) {
        sound.insert(sound.end(), packet.bytes.begin(), packet.bytes.end());
    }
    return sound;
}

TEST_F(DemuxerMem, CompletesAWriteOfManyLapsInPieces) {
    std::vector<unsigned char> bytes = EndlessMuLaw(5 * kCapacity + 17);
    std::mt19937 random(2021);
    std::generate(bytes.begin() + kHeaderOfMuLaw, bytes.end(), random);
    Collector collector;
    collector.Hold();
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    BlockedWriter writer(&demuxer, bytes.data(), static_cast<unsigned int>(bytes.size()));
    writer.AwaitBlocked();
    EXPECT_FALSE(writer.HasReturned());
    collector.Release();
    EXPECT_TRUE(writer.Join());
    demuxer.Destroy();
    // Of the last lap the reader may have read nothing.
    const std::vector<unsigned char> sound = SoundOf(collector.Packets());
    ASSERT_GE(sound.size(), 5u * kCapacity - kHeaderOfMuLaw);
    ASSERT_LE(sound.size(), bytes.size() - kHeaderOfMuLaw);
    EXPECT_TRUE(std::equal(sound.begin(), sound.end(), bytes.begin() + kHeaderOfMuLaw));
}

TEST_F(DemuxerMem, TakesTheWritesOfTwoThreadsOneAfterTheOther) {
    constexpr std::size_t kLaps = 20;
    std::vector<unsigned char> header = EndlessMuLaw(kHeaderOfMuLaw);
    std::vector<unsigned char> ones(kLaps * kCapacity, 1);
    std::vector<unsigned char> twos(kLaps * kCapacity + kCapacity - kHeaderOfMuLaw + 1, 2);
    Collector collector;
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    ASSERT_TRUE(demuxer.WriteData(header.data(), static_cast<unsigned int>(header.size())));
    collector.AwaitCallbacks(1);
    BlockedWriter first(&demuxer, ones.data(), static_cast<unsigned int>(ones.size()));
    BlockedWriter second(&demuxer, twos.data(), static_cast<unsigned int>(twos.size()));
    EXPECT_TRUE(first.Join());
    EXPECT_TRUE(second.Join());
    demuxer.Destroy();
    const std::vector<unsigned char> sound = SoundOf(collector.Packets());
    // All but the byte behind the last lap.
    ASSERT_GE(sound.size(), ones.size() + twos.size() - 1);
    const auto changes = std::count_if(sound.begin() + 1, sound.end(), [before = sound[0]](unsigned char byte) mutable {
        return std::exchange(before, byte) != byte;
    });
    EXPECT_EQ(changes, 1);
    // Either may have been the first; that one is whole.
    const std::vector<unsigned char>& earlier = sound.front() == 1 ? ones : twos;
    EXPECT_EQ(static_cast<std::size_t>(std::count(sound.begin(), sound.end(), sound.front())), earlier.size());
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

// The reader is held with the header and 4050 bytes of sound; the rest of the lap lies in the buffer when it is closed.
TEST_F(DemuxerMem, LosesAtDestroyWhatTheReaderHasNotTaken) {
    std::vector<unsigned char> bytes = EndlessMuLaw(kCapacity + 1);
    Collector collector;
    collector.Hold();
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    ASSERT_TRUE(demuxer.WriteData(bytes.data(), 4096));
    collector.AwaitCallbacks(1);
    ASSERT_TRUE(demuxer.WriteData(bytes.data() + 4096, kCapacity - 4096));
    BlockedWriter writer(&demuxer, bytes.data() + kCapacity, 1);
    writer.AwaitBlocked();
    std::thread destroyer([&] { demuxer.Destroy(); });
    EXPECT_FALSE(writer.Join()) << "the buffer is closed";
    collector.Release();
    destroyer.join();
    EXPECT_EQ(SoundOf(collector.Packets()).size(), 4096 - kHeaderOfMuLaw);
}

// More than a lap, since later generations of FFmpeg may have read a whole one by the first callback.
TEST_F(DemuxerMem, WakesAWriterThatBlocksAndItTellsFalse) {
    std::vector<unsigned char> bytes = Film();
    bytes.resize(kCapacity + 1);
    for (int i = 0; i < kRounds; ++i) {
        Collector collector;
        collector.Hold();
        CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_ASF, &collector);
        ASSERT_TRUE(demuxer->WriteData(bytes.data(), kCapacity));
        collector.AwaitCallbacks(1);
        BlockedWriter writer(demuxer, bytes.data(), kCapacity + 1);
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

}  // namespace
