// Opening and closing of sound takes the library lock, from the first step to the last.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "audio/audio_decoder.h"
#include "audio/audio_encoder.h"
#include "audio/audio_resampler.h"
#include "codrelay/audio_format.h"
#include "codrelay/media_ids.h"
#include "front/registry/ffmpeg_registry.h"
#include "uvqlog/control.h"

using testing::Test;

namespace {

bool LibraryLockIsFree() {
    bool taken = false;
    std::thread([&taken] {
        taken = GetMainFfmpegCodecLib()->TryLock();
        if (taken) {
            GetMainFfmpegCodecLib()->Unlock();
        }
    }).join();
    return taken;
}

/// The steps that were taken while the lock was free, and how many there were in all.
struct Steps {
    std::vector<std::string> free;
    int count = 0;

    void Take(std::string step) {
        ++count;
        if (LibraryLockIsFree()) {
            free.push_back(std::move(step));
        }
    }
};

Steps* g_Steps = nullptr;

void Step(const char* function) {
    if (g_Steps != nullptr) {
        g_Steps->Take(function);
    }
}

}  // namespace

extern "C" {

AVPacket* __real_av_packet_alloc();
AVPacket* __wrap_av_packet_alloc() {
    Step("av_packet_alloc");
    return __real_av_packet_alloc();
}

AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);
AVCodecContext* __wrap_avcodec_alloc_context3(const AVCodec* codec) {
    Step("avcodec_alloc_context3");
    return __real_avcodec_alloc_context3(codec);
}

int __real_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options);
int __wrap_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
    Step("avcodec_open2");
    return __real_avcodec_open2(context, codec, options);
}

int __real_avcodec_close(AVCodecContext* context);
int __wrap_avcodec_close(AVCodecContext* context) {
    Step("avcodec_close");
    return __real_avcodec_close(context);
}

void __real_av_frame_free(AVFrame** frame);
void __wrap_av_frame_free(AVFrame** frame) {
    Step("av_frame_free");
    __real_av_frame_free(frame);
}

int __real_swr_init(SwrContext* context);
int __wrap_swr_init(SwrContext* context) {
    Step("swr_init");
    return __real_swr_init(context);
}

void __real_swr_free(SwrContext** context);
void __wrap_swr_free(SwrContext** context) {
    Step("swr_free");
    __real_swr_free(context);
}

}  // extern "C"

namespace {

constexpr AUDIO_FORMAT kStereo = {48000, 2, AUDIO_SAMPLE_S16};
constexpr AUDIO_FORMAT kFloats = {48000, 2, AUDIO_SAMPLE_FLT};
constexpr AUDIO_FORMAT kMono = {8000, 1, AUDIO_SAMPLE_S16};

class AudioLibraryLock : public Test {
protected:
    AudioLibraryLock() {
        uvqlog::SetThreshold(uvqlog::Severity::Trace);
        uvqlog::SetSink([](const uvqlog::LogEvent& event) {
            if (g_Steps != nullptr) {
                g_Steps->Take(std::string(event.text));
            }
        });
    }
    ~AudioLibraryLock() override {
        uvqlog::SetSink(nullptr);
        uvqlog::SetThreshold(uvqlog::Severity::Warning);
    }

    // Every call into FFmpeg and every line of `call` must find the lock taken; there must be `count` of them at least.
    static void ExpectHeldDuring(const char* what, int count, const std::function<void()>& call) {
        Steps steps;
        g_Steps = &steps;
        call();
        g_Steps = nullptr;
        EXPECT_EQ(steps.free, std::vector<std::string>()) << what;
        EXPECT_GE(steps.count, count) << what;
        EXPECT_TRUE(LibraryLockIsFree()) << what;
    }
};

TEST_F(AudioLibraryLock, IsHeldWhileADecoderOpensAndCloses) {
    CAudioDecoder decoder(AUDIO_CODEC_AAC, "aac");
    int flag = 0;
    const auto create = [&](int channels) { return decoder.CreateDecoder(channels, 48000, flag, nullptr, 0); };
    ExpectHeldDuring("the creation", 6, [&] { EXPECT_TRUE(create(2)); });
    ExpectHeldDuring("a second creation", 1, [&] { EXPECT_FALSE(create(2)); });
    ExpectHeldDuring("the destruction", 4, [&] { decoder.DestroyDecoder(); });
    ExpectHeldDuring("a creation that fails", 6, [&] { EXPECT_FALSE(create(3)); });
    CAudioDecoder unknown(AUDIO_CODEC_OPUS, "opus");
    ExpectHeldDuring("an unknown id", 1, [&] { unknown.CreateDecoder(2, 48000, flag, nullptr, 0); });
}

TEST_F(AudioLibraryLock, IsHeldWhileAnEncoderOpensAndCloses) {
    CAudioEncoder encoder(AV_CODEC_ID_AAC, "aac");
    const auto create = [&](const AUDIO_FORMAT& format) { return encoder.CreateEncoder(&format, 128000); };
    ExpectHeldDuring("the creation", 2, [&] { EXPECT_TRUE(create(kFloats)); });
    ExpectHeldDuring("a second creation", 1, [&] { EXPECT_FALSE(create(kFloats)); });
    ExpectHeldDuring("the destruction", 2, [&] { encoder.DestroyEncoder(); });
    ExpectHeldDuring("a format that is not taken", 1, [&] { EXPECT_FALSE(create(kStereo)); });
    ExpectHeldDuring("a creation that fails", 4, [&] { EXPECT_FALSE(create({50000, 2, AUDIO_SAMPLE_FLT})); });
}

TEST_F(AudioLibraryLock, IsHeldWhileAResamplerOpensAndCloses) {
    CAudioResampler resampler;
    unsigned int room = 0;
    const auto create = [&](const AUDIO_FORMAT& in) { return resampler.Create(&in, &kStereo, 1000, room); };
    ExpectHeldDuring("the creation", 2, [&] { EXPECT_TRUE(create(kMono)); });
    ExpectHeldDuring("the destruction", 1, [&] { resampler.Destroy(); });
    ExpectHeldDuring("formats that are not taken", 1, [&] { EXPECT_FALSE(create({8000, 3, AUDIO_SAMPLE_S16})); });
    ExpectHeldDuring("a creation that fails", 3, [&] { EXPECT_FALSE(create({0, 1, AUDIO_SAMPLE_S16})); });
}

TEST_F(AudioLibraryLock, IsLeftToTheCallerByDestroyWithZero) {
    CAudioDecoder decoder(AUDIO_CODEC_AAC, "aac");
    int flag = 0;
    ASSERT_TRUE(decoder.CreateDecoder(2, 48000, flag, nullptr, 0));
    CAudioEncoder encoder(AV_CODEC_ID_AAC, "aac");
    ASSERT_TRUE(encoder.CreateEncoder(&kFloats, 128000));
    Steps steps;
    g_Steps = &steps;
    decoder.Destroy(0);
    encoder.Destroy(0);
    g_Steps = nullptr;
    EXPECT_EQ(steps.free.size(), static_cast<std::size_t>(steps.count));
    EXPECT_GE(steps.count, 6);
}

}  // namespace
