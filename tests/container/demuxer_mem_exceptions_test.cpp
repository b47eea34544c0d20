// What becomes of exceptions on the reader thread: the host's own, and those of memory that runs out.

#include <gmock/gmock.h>
#include <pthread.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/log_capture.h"
#include "container/demuxer_mem.h"
#include "container/demuxer_mem_fixture.h"
#include "container/demuxer_threads_script.h"
#include "container/packet_collector.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using uvqlog::Severity;

LoggedLine Failed(const std::string& what) {
    return Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to " + what + "!");
}

/// Calls `fail` when it is told of a stream of the kind named, or of a packet.
class FailingCallback : public Collector {
public:
    FailingCallback(std::string where, void (*fail)()) : m_Where(std::move(where)), m_pFail(fail) {}

    int OnVideoStream(int streamIndex, int codecId) override {
        Collector::OnVideoStream(streamIndex, codecId);
        return FailAt("video");
    }
    int OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) override {
        Collector::OnAudioStream(streamIndex, codecId, format);
        return FailAt("audio");
    }
    int OnPacket(DEMUXER_PACKET* packet) override {
        Collector::OnPacket(packet);
        return FailAt("packet");
    }

private:
    int FailAt(const char* where) const {
        if (m_Where == where) {
            m_pFail();
        }
        return 0;
    }

    std::string m_Where;
    void (*m_pFail)();
};

void ThrowAnError() {
    throw std::runtime_error("the host's own");
}
void ThrowANumber() {
    throw 5;
}
void ThrowForWantOfMemory() {
    throw std::bad_alloc();
}

class DemuxerMemExceptions : public DemuxerMem {
protected:
    /// Writes until the thread has gone.
    static void WriteToTheEnd(CDemuxerMem* demuxer) {
        std::vector<unsigned char> bytes = Film();
        while (demuxer->WriteData(bytes.data(), static_cast<unsigned int>(bytes.size()))) {
        }
    }
};

}  // namespace

TEST_F(DemuxerMemExceptions, OfACallbackEndTheThreadWithALine) {
    for (void (*fail)() : {ThrowAnError, ThrowANumber, ThrowForWantOfMemory}) {
        for (const char* where : {"video", "audio", "packet"}) {
            SCOPED_TRACE(where);
            FailingCallback callback(where, fail);
            LogCapture log(Severity::Error);
            CDemuxerMem demuxer;
            ASSERT_EQ(demuxer.Create("ASF format", &callback), 1);
            WriteToTheEnd(&demuxer);
            if (std::string(where) == "packet") {
                EXPECT_THAT(log.Take(), ElementsAre(Failed("pass packet"), Failed("read next frame")));
                EXPECT_THAT(callback.Packets(), SizeIs(1));
            } else {
                EXPECT_THAT(log.Take(), ElementsAre(Failed("tell streams")));
                EXPECT_THAT(callback.Packets(), IsEmpty());
                EXPECT_THAT(callback.Streams(), SizeIs(std::string(where) == "video" ? 1 : 2));
            }
        }
    }
}

TEST_F(DemuxerMemExceptions, OfACallbackLeaveADemuxerThatCanBeCreatedAgain) {
    FailingCallback callback("packet", ThrowAnError);
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("ASF format", &callback), 1);
    WriteToTheEnd(&demuxer);
    Collector collector;
    std::vector<unsigned char> sound = MuLaw();
    ASSERT_EQ(demuxer.Create("WAV format", &collector), 1);
    ASSERT_TRUE(demuxer.WriteData(sound.data(), static_cast<unsigned int>(sound.size())));
    collector.AwaitCallbacks(3);
    demuxer.Destroy();
    EXPECT_THAT(collector.Streams(), ElementsAre("audio 0 codec 100 8000/1/2"));
}

// That is no failure of the library's, and has no line.
TEST_F(DemuxerMemExceptions, ThatEndTheThreadGoOnToItsEnd) {
    for (const char* where : {"video", "packet"}) {
        SCOPED_TRACE(where);
        FailingCallback callback(where, [] { pthread_exit(nullptr); });
        LogCapture log(Severity::Error);
        CDemuxerMem demuxer;
        ASSERT_EQ(demuxer.Create("ASF format", &callback), 1);
        WriteToTheEnd(&demuxer);
        demuxer.Destroy();
        EXPECT_THAT(log.Take(), IsEmpty());
    }
}

TEST_F(DemuxerMemExceptions, WithoutMemoryForTheReaderHaveALine) {
    Collector collector;
    LogCapture log(Severity::Error);
    CDemuxerMem demuxer;
    FailTheReadersNextAllocation();
    ASSERT_EQ(demuxer.Create("ASF format", &collector), 1);
    WriteToTheEnd(&demuxer);
    EXPECT_THAT(log.Take(), ElementsAre(Failed("create ffmpeg demuxer")));
}

// The memory that is missing is that of the line that FfmpegDemuxer would write.
TEST_F(DemuxerMemExceptions, WithoutMemoryInTheOpenHaveALine) {
    Collector collector;
    LogCapture log(Severity::Error);
    CDemuxerMem demuxer;
    g_nReaderWaits = 0;
    ASSERT_EQ(demuxer.Create("ASF format", &collector), 1);
    AwaitReaderWaits(1);
    FailTheReadersNextAllocation();
    demuxer.Destroy();
    EXPECT_THAT(log.Take(), ElementsAre(Failed("open demuxer stream")));
}

TEST_F(DemuxerMemExceptions, WithoutMemoryBetweenStreamsHaveALine) {
    Collector collector;
    collector.Hold();
    LogCapture log(Severity::Error);
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("ASF format", &collector), 1);
    std::vector<unsigned char> bytes = Film();
    ASSERT_TRUE(demuxer.WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    collector.AwaitCallbacks(1);
    FailTheReadersNextAllocation();
    collector.Release();
    WriteToTheEnd(&demuxer);
    EXPECT_THAT(log.Take(), ElementsAre(Failed("tell streams")));
    EXPECT_THAT(collector.Streams(), ElementsAre("video 0 codec 4"));
}

TEST_F(DemuxerMemExceptions, WithoutMemoryForTheLineEndTheThreadAllTheSame) {
    FailingCallback callback("packet", ThrowANumber);
    callback.Hold();
    LogCapture log(Severity::Error);
    CDemuxerMem demuxer;
    ASSERT_EQ(demuxer.Create("ASF format", &callback), 1);
    std::vector<unsigned char> bytes = Film();
    ASSERT_TRUE(demuxer.WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    for (std::size_t streams = 1; streams <= 2; ++streams) {
        callback.AwaitCallbacks(streams);
        callback.Step();
    }
    callback.AwaitCallbacks(3);
    FailTheReadersNextAllocation();
    callback.Release();
    WriteToTheEnd(&demuxer);
    demuxer.Destroy();
    EXPECT_THAT(log.Take(), IsEmpty());
}
