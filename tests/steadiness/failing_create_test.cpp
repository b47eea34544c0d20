// Memory runs out inside a create call, or a destroy call. What has not been created needs no destroying: a host may
// create it again, or delete it, at once.

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "steadiness/life.h"
#include "steadiness/out_of_memory.h"

static bool g_refusesThreads = false;
static int g_nRefused = 0;

extern "C" {

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument) {
    g_nRefused += g_refusesThreads ? 1 : 0;
    return g_refusesThreads ? EAGAIN : __real_pthread_create(thread, attributes, body, argument);
}

}  // extern "C"

namespace {

/// Leads an object's life until one of its calls has failed at every allocation that it makes.
class EveryAllocation {
public:
    /// `life` builds an object, makes one of its calls through InCall, and deletes the object.
    template <typename TheLife>
    void Fails(const TheLife& life) {
        m_bFailed = true;
        for (m_nth = 1; m_bFailed; ++m_nth) {
            Lead(life);
            // What is made once for all is made only once.
            for (int i = 0; HasLost() && i < 3; ++i) {
                Lead(life);
            }
            EXPECT_FALSE(HasLost()) << m_Lost.objects << " objects, " << m_Lost.blocks << " blocks, allocation "
                                    << m_nth;
        }
        EXPECT_GT(m_nth, 2) << "nothing was allocated";
    }

    /// True where the call came to a good end, false where it failed or threw.
    template <typename Call>
    bool InCall(const Call& call) {
        failing_memory::Arm(m_nth, failing_memory::Memory::Objects, failing_memory::Failure::Once);
        const bool well = Succeeds(call);
        m_bFailed = failing_memory::Disarm();
        return well;
    }

private:
    template <typename TheLife>
    void Lead(const TheLife& life) {
        const Kept before;
        life();
        m_Lost = Kept() - before;
    }

    bool HasLost() const { return m_Lost.objects > 0 || m_Lost.blocks > 0; }

    AllLinesDropped m_Log;
    long m_nth = 1;
    bool m_bFailed = false;
    Kept m_Lost;
};

class FailingCreateTest : public testing::TestWithParam<LifeKind> {
protected:
    EveryAllocation m_Every;
    std::unique_ptr<Life> m_pLife = GetParam().begin(nullptr, ScratchFile());
};

TEST_P(FailingCreateTest, LeavesNothingToDestroy) {
    m_Every.Fails([this] {
        EXPECT_TRUE(m_pLife->Build());
        if (m_Every.InCall([this] { return m_pLife->Create(); })) {
            m_pLife->Destroy();
        }
        m_pLife->Delete();
    });
}

TEST_P(FailingCreateTest, LeavesAnObjectThatIsCreatedAtOnce) {
    m_Every.Fails([this] {
        EXPECT_TRUE(m_pLife->Build());
        EXPECT_TRUE(m_Every.InCall([this] { return m_pLife->Create(); }) || m_pLife->Create());
        m_pLife->Destroy();
        m_pLife->Delete();
    });
}

/// Not muxers, whose Create is a header and comes once, nor what takes no memory of ours there.
std::vector<LifeKind> LifeKindsThatAreCreated() {
    static const std::set<std::string> others = {"Scale", "CropAndConvert", "Crop", "EncodePcm", "Resample"};
    std::vector<LifeKind> kinds;
    std::copy_if(AllLifeKinds().begin(), AllLifeKinds().end(), std::back_inserter(kinds),
                 [](const LifeKind& kind) { return !kind.leavesFfmpegBehind && others.count(kind.name) == 0; });
    return kinds;
}

INSTANTIATE_TEST_SUITE_P(Objects, FailingCreateTest, testing::ValuesIn(LifeKindsThatAreCreated()),
                         [](const auto& kind) { return kind.param.name; });

// The line about it is written when the codec is open.
TEST(FailingCreateOfFlvDecoder, LosesNothingAtTheNoticeOfAnotherFormat) {
    EveryAllocation every;
    every.Fails([&every] {
        CVideoDecoderBase* const decoder = NewFFmpegVideoDecoder(VIDEO_CODEC_FLV, CSP_RGB24, std::string());
        if (every.InCall([decoder] { return decoder->CreateDecoder(CSP_RGB24, 320, 240, nullptr) == 1; })) {
            decoder->DestroyDecoder();
        }
        decoder->Delete();
    });
}

// Its lines are all of failures.
TEST(FailingCreateOfResampler, LosesNothingWhereItIsRefused) {
    EveryAllocation every;
    every.Fails([&every] {
        CAudioResamplerBase* const resampler = Codrelay_AudioResampler();
        const AUDIO_FORMAT format{1, 1, AUDIO_SAMPLE_U8};
        unsigned int room = 0;
        EXPECT_FALSE(every.InCall([&] { return resampler->Create(&format, &format, 0x40000000, room); }));
        resampler->Delete();
    });
}

// Bytes that nobody reads would fill the buffer, and the host would wait for ever.
TEST(FailingCreateOfMemoryDemuxer, OffersNoBufferWithoutAReader) {
    class Deaf : public CDemuxerMemCallback {
    public:
        int OnVideoStream(int, int) override { return 0; }
        int OnAudioStream(int, int, AUDIO_FORMAT*) override { return 0; }
        int OnPacket(DEMUXER_PACKET*) override { return 0; }
    };
    EveryAllocation every;
    Deaf callback;
    int thrownWithoutAReader = 0;
    every.Fails([&] {
        CDemuxerMemBase* const demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_WAV, &callback);
        demuxer->Destroy();
        g_refusesThreads = true;
        g_nRefused = 0;
        int result = -1;
        every.InCall([&] { return (result = demuxer->Create("no format", &callback)) == 0; });
        g_refusesThreads = false;
        unsigned char byte = 0;
        EXPECT_EQ(demuxer->WriteData(&byte, 1), result == 0);
        thrownWithoutAReader += result == -1 ? g_nRefused : 0;
        demuxer->Delete();
    });
    EXPECT_GT(thrownWithoutAReader, 0);
}

TEST(FailingDestroyOfAudioDecoder, ReleasesAllTheSame) {
    EveryAllocation every;
    every.Fails([&every] {
        CAudioDecoderBase* const decoder = Codrelay_AudioDecoder(AUDIO_CODEC_MP3);
        int sampleFormat = 0;
        EXPECT_TRUE(decoder->CreateDecoder(2, 44100, sampleFormat, nullptr, 0));
        every.InCall([decoder] {
            decoder->DestroyDecoder();
            return true;
        });
        decoder->Delete();
    });
}

}  // namespace
