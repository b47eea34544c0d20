// Memory runs out at every single allocation of every object's life, those of the library's own and those of the FFmpeg
// functions that it calls: the call fails as it says that it fails, or std::bad_alloc passes up; nothing is lost, and
// the object can be used again.
//
// What FFmpeg takes in functions further down is left alone. This generation does not live through all of that: where a
// string of a codec's options is not to be had avcodec_alloc_context3 aborts, avcodec_open2 crashes without a bitstream
// filter's insides, and so do the scaler and the resampler without their tables.

#include "steadiness/failing_memory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <set>
#include <string>

#include "audio/audio_packets.h"
#include "codrelay/factories.h"
#include "codrelay/library.h"
#include "codrelay/media_ids.h"
#include "codrelay/utils/threads.h"
#include "common/test_media.h"
#include "steadiness/life.h"
#include "steadiness/out_of_memory.h"
#include "support/ffmpeg.h"
#include "video_decoder/frame_pool.h"

using failing_memory::Failure;
using failing_memory::Memory;

static CConditionWait* g_pWaitedFor = nullptr;

// The containers of the muxers are known by their addresses: these must be freed, what hangs on them is FFmpeg's.
extern "C" {

int __real_avformat_alloc_output_context2(AVFormatContext** context, AVOutputFormat* format, const char* name,
                                          const char* file);
AVStream* __real_avformat_new_stream(AVFormatContext* context, const AVCodec* codec);

int __wrap_avformat_alloc_output_context2(AVFormatContext** context, AVOutputFormat* format, const char* name,
                                          const char* file) {
    const int result = __real_avformat_alloc_output_context2(context, format, name, file);
    if (*context != nullptr) {
        failing_memory::Watch(*context);
    }
    return result;
}

AVStream* __wrap_avformat_new_stream(AVFormatContext* context, const AVCodec* codec) {
    AVStream* const stream = __real_avformat_new_stream(context, codec);
    if (stream != nullptr) {
        failing_memory::Watch(stream);
    }
    return stream;
}

int __real_pthread_join(pthread_t thread, void** result);

int __wrap_pthread_join(pthread_t thread, void** result) {
    if (g_pWaitedFor != nullptr) {
        g_pWaitedFor->Signal();
    }
    return __real_pthread_join(thread, result);
}

// Twenty seconds pass between any two looks at the clock: every working call reports its statistics, and that takes
// memory, too.
long long __wrap__ZN5utils20GetMonotonicTimeInMsEv() {
    static long long now = 0;
    return now += 20000;
}

}  // extern "C"

namespace {

bool Lead(Life* life) {
    return Succeeds([life] { return life->Build(); }) && Succeeds([life] { return life->Create(); }) &&
           Succeeds([life] { return life->Work().has_value(); }) && Succeeds([life] {
               life->Destroy();
               return true;
           });
}

/// What a host may do with an object that has failed, before it gives up.
void TryOn(Life* life) {
    if (life->IsBuilt()) {
        Succeeds([life] { return life->Work().has_value(); });
    }
    DestroyIfBuilt(life);
}

}  // namespace

class FailingMemoryTest : public testing::TestWithParam<std::tuple<LifeKind, Memory, Failure>> {
protected:
    FailingMemoryTest()
        : m_Kind(std::get<0>(GetParam())), m_Memory(std::get<1>(GetParam())), m_Failure(std::get<2>(GetParam())) {}

    /// Leads a life in which the `nth` allocation fails. False once there are not that many.
    bool LeadWithFailure(long nth) {
        failing_memory::ForgetWatched();
        const Kept before;
        failing_memory::Arm(nth, m_Memory, m_Failure);
        const bool well = Lead(m_pLife.get());
        const bool failed = failing_memory::Disarm();
        EXPECT_TRUE(well || failed) << "failed with plenty of memory";
        TryOn(m_pLife.get());
        EXPECT_EQ(LeadLife(m_pLife.get()), m_Expected) << "cannot be used again";
        EndLife(m_pLife.get());
        m_Lost = Kept() - before;
        EXPECT_EQ(failing_memory::WatchedBlocks(), 0);
        return failed;
    }

    bool HasLost() const { return m_Lost.objects > 0 || (m_Lost.blocks > 0 && !m_Kind.leavesFfmpegBehind); }

    /// What is made once for all, on the way of a failure or by the threads that happen to run, is made only once.
    bool LosesEachTime(long nth) {
        for (int i = 0; HasLost() && i < 3; ++i) {
            LeadWithFailure(nth);
        }
        return HasLost();
    }

    AllLinesDropped m_Log;
    LifeKind m_Kind;
    Memory m_Memory;
    Failure m_Failure;
    std::unique_ptr<Life> m_pLife = m_Kind.begin(nullptr, ScratchFile());
    std::optional<std::uint64_t> m_Expected;
    Kept m_Lost;
};

TEST_P(FailingMemoryTest, NothingIsLostAndTheObjectWorksAgain) {
    m_Expected = LeadLife(m_pLife.get());
    EndLife(m_pLife.get());
    ASSERT_TRUE(m_Expected.has_value());
    long nth = 1;
    while (LeadWithFailure(nth)) {
        EXPECT_FALSE(LosesEachTime(nth)) << m_Lost.objects << " objects, " << m_Lost.blocks << " blocks";
        if (HasFailure()) {
            std::fprintf(stderr, "The allocation that failed, number %ld, was asked for by\n", nth);
            failing_memory::PrintWhoAsked();
            FAIL();
        }
        ++nth;
    }
    RecordProperty("allocations", std::to_string(nth - 1));
    EXPECT_GT(nth, 1);
}

std::string NameOf(const testing::TestParamInfo<std::tuple<LifeKind, Memory, Failure>>& life) {
    const bool once = std::get<2>(life.param) == Failure::Once;
    return std::get<0>(life.param).name + (once ? "Once" : "FromThenOn");
}

/// FFmpeg takes memory for these in functions below those that are called, or not at all.
bool HasFfmpegCalls(const LifeKind& kind) {
    static const std::set<std::string> others = {"Scale", "CropAndConvert", "Crop", "DecodeOpus", "Resample"};
    return others.count(kind.name) == 0;
}

std::vector<LifeKind> LifeKindsWithFfmpegCalls() {
    std::vector<LifeKind> kinds;
    std::copy_if(AllLifeKinds().begin(), AllLifeKinds().end(), std::back_inserter(kinds), HasFfmpegCalls);
    return kinds;
}

const auto kBothFailures = testing::Values(Failure::Once, Failure::Lasting);

INSTANTIATE_TEST_SUITE_P(Objects, FailingMemoryTest,
                         testing::Combine(testing::ValuesIn(AllLifeKinds()), testing::Values(Memory::Objects),
                                          kBothFailures),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(FfmpegCalls, FailingMemoryTest,
                         testing::Combine(testing::ValuesIn(LifeKindsWithFfmpegCalls()),
                                          testing::Values(Memory::FfmpegCalls), kBothFailures),
                         NameOf);

/// A call without an object.
struct FreeCall {
    const char* name;
    void (*call)();
    /// Tried is every allocation, or one of so many where a call writes thousands of lines.
    long step = 1;
};

void PrintTo(const FreeCall& call, std::ostream* out) {
    *out << call.name;
}

class FailingMemoryInCallTest : public testing::TestWithParam<FreeCall> {
protected:
    /// False once the call has no `nth` allocation.
    bool CallWithFailure(long nth) {
        const Kept before;
        failing_memory::Arm(nth, Memory::Objects, Failure::Once);
        Succeeds([] {
            GetParam().call();
            return true;
        });
        const bool failed = failing_memory::Disarm();
        m_Lost = Kept() - before;
        return failed;
    }

    AllLinesDropped m_Log;
    Kept m_Lost;
};

TEST_P(FailingMemoryInCallTest, NothingIsLost) {
    GetParam().call();
    long nth = 1;
    for (; CallWithFailure(nth); nth += GetParam().step) {
        for (int i = 0; m_Lost.blocks > 0 && i < 3; ++i) {
            CallWithFailure(nth);
        }
        ASSERT_LE(m_Lost.blocks, 0) << "allocation " << nth;
    }
    EXPECT_GT(nth, 1);
}

INSTANTIATE_TEST_SUITE_P(
    FreeCalls, FailingMemoryInCallTest,
    testing::Values(FreeCall{"Create", [] { Codrelay_Create(nullptr); }, 101},
                    FreeCall{"ListVideoEncoders", [] { Codrelay_GetSupportedVideoEncoders(); }},
                    FreeCall{"ListAudioEncoders", [] { Codrelay_GetSupportedAudioEncoders(); }},
                    FreeCall{"RefuseVideoDecoder", [] { Codrelay_VideoDecoder(77, std::string()); }},
                    FreeCall{"RefuseVideoEncoder", [] { Codrelay_VideoEncoder(77, std::string()); }},
                    FreeCall{"RefuseAudioDecoder", [] { Codrelay_AudioDecoder(77); }},
                    FreeCall{"RefuseAudioEncoder", [] { Codrelay_AudioEncoder(77); }},
                    FreeCall{"RefuseMuxer", [] { Codrelay_MuxerFile(77, nullptr, nullptr); }},
                    FreeCall{"RefuseSize", [] { Codrelay_VideoTransformCheckSize(1, 1); }},
                    FreeCall{"ChangeSink", [] { uvqlog::SetSink([](const uvqlog::LogEvent&) {}); }}),
    [](const auto& call) { return std::string(call.param.name); });

TEST(FailingMemoryInPool, LosesNoBuffer) {
    ThreadsafeFramePool pool;
    pool.Init(1000, nullptr);
    std::vector<std::shared_ptr<CFrameBufferBase>> all(8);
    for (std::shared_ptr<CFrameBufferBase>& each : all) {
        ASSERT_TRUE(pool.GetFrame(each));
    }
    long nth = 1;
    for (bool failed = true; failed; ++nth) {
        std::shared_ptr<CFrameBufferBase> frame;
        all.assign(8, nullptr);
        failing_memory::Arm(nth, Memory::Objects, Failure::Once);
        const bool got = Succeeds([&] { return pool.GetFrame(frame); });
        failed = failing_memory::Disarm();
        EXPECT_NE(got, failed);
        frame.reset();
        for (std::shared_ptr<CFrameBufferBase>& each : all) {
            ASSERT_TRUE(pool.GetFrame(each)) << "after allocation " << nth;
        }
    }
    EXPECT_GT(nth, 2);
}

TEST(FailingMemoryInAudioDecoder, LeavesNoFrameForTheNextPacket) {
    const AllLinesDropped log;
    const std::vector<Bytes> frames = ReadAudioPackets(Clip("tones_44100_2.mp3")).packets;
    Bytes two = frames.at(0);
    two.insert(two.end(), frames.at(1).begin(), frames.at(1).end());
    const std::unique_ptr<CAudioDecoderBase, void (*)(CAudioDecoderBase*)> decoder(
        Codrelay_AudioDecoder(AUDIO_CODEC_MP3), [](CAudioDecoderBase* each) {
            each->DestroyDecoder();
            each->Delete();
        });
    int sampleFormat = 0;
    ASSERT_TRUE(decoder->CreateDecoder(2, 44100, sampleFormat, nullptr, 0));
    std::vector<short> out(192000);
    const auto decode = [&](unsigned int room) {
        unsigned int consumed = 0;
        unsigned int written = 0;
        const int status =
            decoder->Decode(two.data(), static_cast<unsigned int>(two.size()), out.data(), room, consumed, written);
        return status == 0 ? static_cast<long>(written) : -1;
    };
    long nth = 1;
    for (bool failed = true; failed; ++nth) {
        failing_memory::Arm(nth, Memory::Objects, Failure::Once);
        EXPECT_FALSE(Succeeds([&] { return decode(100) >= 0; }));
        failed = failing_memory::Disarm();
        EXPECT_EQ(decode(384000), 2 * 1152 * 4) << "after allocation " << nth;
    }
    EXPECT_GT(nth, 2);
}

// Where the host offers no buffer FFmpeg allocates one, and the line of a packet that is too long is written before it
// is given back.
TEST(FailingMemoryInAudioEncoder, LosesNoPacketOfFfmpegs) {
    const AllLinesDropped log;
    const std::unique_ptr<CAudioEncoderBase, void (*)(CAudioEncoderBase*)> encoder(
        Codrelay_AudioEncoder(AUDIO_CODEC_PCM_S16LE), [](CAudioEncoderBase* each) {
            each->DestroyEncoder();
            each->Delete();
        });
    const AUDIO_FORMAT format = {8000, 1, AUDIO_SAMPLE_S16};
    ASSERT_TRUE(encoder->CreateEncoder(&format, 0));
    unsigned char samples[20] = {};
    const auto encode = [&] {
        unsigned int consumed = 0;
        unsigned int written = 0;
        long long pts = 0;
        return encoder->Encode(samples, sizeof(samples), nullptr, 5, consumed, written, pts) == 1;
    };
    ASSERT_TRUE(encode());
    failing_memory::Arm(1, Memory::Objects, Failure::Once);
    Succeeds(encode);  // what the first exception of a process makes for all that follow is made
    failing_memory::Disarm();
    long nth = 1;
    for (bool failed = true; failed; ++nth) {
        const Kept before;
        failing_memory::Arm(nth, Memory::Objects, Failure::Once);
        Succeeds(encode);
        failed = failing_memory::Disarm();
        EXPECT_LE((Kept() - before).blocks, 0) << "allocation " << nth;
    }
    EXPECT_GT(nth, 2);
}

TEST(FailingMemoryInThread, ItsEndIsWaitedForWithoutALine) {
    struct Waiting {
        CConditionWait isWaitedFor;
        bool ended = false;

        static unsigned int Run(void* self) {
            auto* waiting = static_cast<Waiting*>(self);
            waiting->isWaitedFor.Wait();
            waiting->ended = true;
            return 0;
        }
    };
    const AllLinesDropped log;
    long nth = 1;
    for (bool failed = true; failed; ++nth) {
        Waiting waiting;
        g_pWaitedFor = &waiting.isWaitedFor;
        auto thread = std::make_unique<CThread>();
        ASSERT_EQ(thread->CreateThread(Waiting::Run, &waiting), 1);
        failing_memory::Arm(nth, Memory::Objects, Failure::Once);
        thread.reset();
        failed = failing_memory::Disarm();
        EXPECT_TRUE(waiting.ended) << "allocation " << nth;
        g_pWaitedFor = nullptr;
    }
    EXPECT_GT(nth, 2);
}
