#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "audio/audio_decoder_fixture.h"
#include "audio/scripted_failures.h"
#include "codrelay/media_ids.h"
#include "common/allocation_counter.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "front/registry/ffmpeg_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

// Errors that the next calls give, in this order.
std::vector<int> g_ReceiveErrors;

}  // namespace

extern "C" {

AVFrame* __real_av_frame_alloc();
AVFrame* __wrap_av_frame_alloc() {
    return Failing::Is("av_frame_alloc") ? nullptr : __real_av_frame_alloc();
}

int __real_swr_convert(SwrContext* context, uint8_t** out, int outCount, const uint8_t** in, int inCount);
int __wrap_swr_convert(SwrContext* context, uint8_t** out, int outCount, const uint8_t** in, int inCount) {
    if (Failing::Is("swr_convert")) {
        return AVERROR(ENOMEM);
    }
    const int converted = __real_swr_convert(context, out, outCount, in, inCount);
    return Failing::Is("last sample") ? converted - 1 : converted;
}

int __real_avcodec_receive_frame(AVCodecContext* context, AVFrame* frame);
int __wrap_avcodec_receive_frame(AVCodecContext* context, AVFrame* frame) {
    if (!g_ReceiveErrors.empty()) {
        const int error = g_ReceiveErrors.front();
        g_ReceiveErrors.erase(g_ReceiveErrors.begin());
        if (error != 0) {
            return error;
        }
    }
    const int result = __real_avcodec_receive_frame(context, frame);
    if (result == 0 && Failing::Is("samples")) {
        frame->nb_samples = 0;
    }
    if (result == 0 && Failing::Is("sample format")) {
        frame->format = AV_SAMPLE_FMT_FLTP;
    }
    return result;
}

}  // extern "C"

namespace {

std::vector<Bytes> Mp3Frames(const char* clip) {
    return ReadAudioPackets(Clip(clip)).packets;
}

Bytes Joined(const Bytes& a, const Bytes& b) {
    Bytes both = a;
    both.insert(both.end(), b.begin(), b.end());
    return both;
}

TEST_F(AudioDecoderTest, DecodesNothingBeforeItIsCreated) {
    LogCapture log;
    EXPECT_EQ(Decode(Make(AUDIO_CODEC_MP3, "mp3"), Bytes(10), 1000), 2);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CAudioDecoder::Decode: You should create first!")));
    EXPECT_EQ(Decode(Make(AUDIO_CODEC_MP3, "mp3"), {}, 1000), 2);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Warning, "CAudioDecoder::Decode: Nothing to decode!")))
        << "which is looked at first";
}

TEST_F(AudioDecoderTest, DecodesNothingOfNothing) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    const auto line = Ffmpeg(Severity::Warning, "CAudioDecoder::Decode: Nothing to decode!");
    LogCapture log;
    unsigned char byte = 0;
    EXPECT_EQ(decoder.Decode(nullptr, 1, out.data(), 100, consumed, written), 2);
    EXPECT_EQ(decoder.Decode(&byte, 0, out.data(), 100, consumed, written), 2);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
}

TEST_F(AudioDecoderTest, SaysNothingOfAMissingBuffer) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    LogCapture log;
    Bytes in(8);
    for (const unsigned int room : {0u, 0x80000000u}) {
        EXPECT_EQ(decoder.Decode(in.data(), 8, out.data(), room, consumed, written), 2);
        EXPECT_EQ(consumed, 8u);
    }
    EXPECT_EQ(decoder.Decode(in.data(), 8, nullptr, 100, consumed, written), 2);
    EXPECT_EQ(consumed, 8u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(Decode(decoder, in, 100), 0);
}

TEST_F(AudioDecoderTest, AllocatesItsFrameAtTheFirstPacket) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    {
        LogCapture log;
        const Failing failing("av_frame_alloc");
        EXPECT_EQ(Decode(decoder, Bytes(8), 100), 2);
        EXPECT_EQ(consumed, 0u);
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Critical, "CAudioDecoder::Decode: Could not allocate audio frame")));
    }
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0);
    const Failing failing("av_frame_alloc");
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0) << "the frame is kept";
}

TEST_F(AudioDecoderTest, TakesPcmOfAPartialSampleGroupForAFailure) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 2, 8000));
    LogCapture log;
    EXPECT_EQ(Decode(decoder, {1, 0, 2, 0, 3, 0, 4, 0, 5, 0}, 100), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(consumed, 10u);
    EXPECT_THAT((std::vector<short>(out.begin(), out.begin() + 5)), ElementsAre(1, 2, 3, 4, 0)) << "the whole groups";
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                               "CAudioDecoder::DecodePacket: Error during decoding: Invalid data found "
                                               "when processing input")));
    EXPECT_EQ(Decode(decoder, {6, 0, 7, 0}, 100), 0);
    EXPECT_EQ(written, 4u);
    EXPECT_EQ(out[0], 6);
}

TEST_F(AudioDecoderTest, TellsOfABrokenPacketAndGoesOn) {
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    LogCapture log;
    EXPECT_EQ(Decode(decoder, Bytes(417, 0x55), 384000), 2);
    EXPECT_EQ(consumed, 417u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(
                                Severity::Error,
                                "CAudioDecoder::DecodePacket: Error submitting the packet to the decoder: Invalid data "
                                "found when processing input")));
    EXPECT_EQ(Decode(decoder, frames.at(0), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, RefusesAPacketOfTwoGigabytes) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    unsigned char byte = 0;
    EXPECT_EQ(decoder.Decode(&byte, 0x80000000u, out.data(), 100, consumed, written), 2);
    EXPECT_EQ(consumed, 0x80000000u);
}

TEST_F(AudioDecoderTest, TellsOfAnErrorBehindTheFirstFrame) {
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    LogCapture log;
    EXPECT_EQ(Decode(decoder, Joined(frames.at(0), Bytes(417, 0x55)), 384000), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                               "CAudioDecoder::DecodePacket: Error during decoding: Invalid data found "
                                               "when processing input")));
    EXPECT_EQ(Decode(decoder, frames.at(1), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, EndsAPacketAtTheEndOfTheStreamToo) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    g_ReceiveErrors = {0, AVERROR_EOF};
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0);
    EXPECT_EQ(written, 8u);
}

TEST_F(AudioDecoderTest, WritesAllFramesOfAPacket) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& one = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(one, 2, 44100));
    std::vector<short> expected;
    for (const auto& frame : {frames.at(0), frames.at(1)}) {
        ASSERT_EQ(Decode(one, frame, 384000), 0);
        expected.insert(expected.end(), out.begin(), out.begin() + written / 2);
    }
    auto& both = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(both, 2, 44100));
    EXPECT_EQ(Decode(both, Joined(frames.at(0), frames.at(1)), 384000), 0);
    EXPECT_EQ(written, 2u * 1152 * 4);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.begin()));
}

TEST_F(AudioDecoderTest, NeedsNoMoreRoomThanTheFramesTake) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    EXPECT_EQ(Decode(decoder, Joined(frames.at(0), frames.at(1)), 2 * 1152 * 4), 0);
    EXPECT_EQ(written, 2u * 1152 * 4);
    auto& pcm = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(pcm, 1, 8000));
    EXPECT_EQ(Decode(pcm, Bytes(8), 8), 0);
    EXPECT_EQ(written, 8u);
}

TEST_F(AudioDecoderTest, FailsWhereTheSecondFrameDoesNotFit) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    // Tones from the third frame on.
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Decode(decoder, frames.at(i), 384000), 0);
    }
    LogCapture log;
    std::fill(out.begin(), out.end(), short(0));
    const Bytes packet = Joined(frames.at(3), frames.at(4));
    EXPECT_EQ(Decode(decoder, packet, 1152 * 4 + 4607), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(consumed, packet.size());
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                               "CAudioDecoder::DecodePacket: Output buffer size is too small for the "
                                               "current frame (4607 < 4608)")));
    EXPECT_NE(std::count(out.begin(), out.begin() + 2304, 0), 2304) << "the first frame is in the buffer";
    EXPECT_EQ(std::count(out.begin() + 2304, out.end(), 0), static_cast<long>(out.size()) - 2304);
}

// A failed packet must leave nothing inside: the next would give stale samples, the one after that be refused.
TEST_F(AudioDecoderTest, GivesTheNextPacketsOwnFramesAfterFailures) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& undisturbed = Make(AUDIO_CODEC_MP3, "mp3");
    auto& disturbed = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(undisturbed, 2, 44100));
    ASSERT_TRUE(Create(disturbed, 2, 44100));
    for (std::size_t i = 0; i + 1 < 12; i += 2) {
        const Bytes packet = Joined(frames.at(i), frames.at(i + 1));
        ASSERT_EQ(Decode(undisturbed, packet, 384000), 0);
        const std::vector<short> expected = out;
        const bool spoilt = i < 8;
        ASSERT_EQ(Decode(disturbed, packet, spoilt ? 100 : 384000), spoilt ? 2 : 0) << i;
        if (!spoilt) {
            EXPECT_EQ(written, 2u * 1152 * 4);
            EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + 2304, out.begin())) << i;
        }
    }
}

TEST_F(AudioDecoderTest, DropsAllFramesThatAFailureLeaves) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    const Bytes four = Joined(Joined(frames.at(0), frames.at(1)), Joined(frames.at(2), frames.at(3)));
    const LogCapture quiet;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Decode(decoder, four, 100), 2);
        EXPECT_EQ(Decode(decoder, frames.at(4), 384000), 0);
        EXPECT_EQ(written, 1152u * 4);
    }
}

TEST_F(AudioDecoderTest, TakesMissingSamplesForAResamplerFailure) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    LogCapture log;
    const Failing failing("last sample");
    EXPECT_EQ(Decode(decoder, frames.at(0), 384000), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CAudioDecoder::DecodePacket: failed to resample planar data: Error "
                                               "number 1151 occurred")));
}

TEST_F(AudioDecoderTest, LeavesNothingInsideAfterAFailureOfTheResampler) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    LogCapture log;
    for (int i = 0; i < 4; ++i) {
        const Failing failing("swr_convert");
        EXPECT_EQ(Decode(decoder, Joined(frames.at(0), frames.at(1)), 384000), 2);
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Critical,
                                       "CAudioDecoder::DecodePacket: failed to resample planar data: Cannot "
                                       "allocate memory")));
    }
    EXPECT_EQ(Decode(decoder, frames.at(2), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, TakesAMonoFrameInAStereoDecoderForAResamplerFailure) {
    const auto mono = Mp3Frames("tones_44100_1.mp3");
    const auto stereo = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    LogCapture log;
    EXPECT_EQ(Decode(decoder, mono.at(0), 384000), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical,
                                   "CAudioDecoder::DecodePacket: failed to resample planar data: Invalid argument")));
    EXPECT_EQ(Decode(decoder, stereo.at(0), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, TakesAFrameOfAnotherSampleFormatForAResamplerFailure) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    LogCapture log;
    {
        const Failing failing("sample format");
        EXPECT_EQ(Decode(decoder, frames.at(0), 384000), 2);
    }
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical,
                                   "CAudioDecoder::DecodePacket: failed to resample planar data: Invalid argument")));
    EXPECT_EQ(Decode(decoder, frames.at(1), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, CopiesOnePlaneOfTwoInAMonoDecoder) {
    const auto stereo = Mp3Frames("tones_44100_2.mp3");
    auto& expected = Make(AUDIO_CODEC_MP3, "mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(expected, 2, 44100));
    ASSERT_TRUE(Create(decoder, 1, 44100));
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_EQ(Decode(expected, stereo.at(i), 384000), 0);
        const std::vector<short> both = out;
        std::fill(out.begin(), out.end(), short(99));
        ASSERT_EQ(Decode(decoder, stereo.at(i), 384000), 0);
        EXPECT_EQ(written, 1152u * 4);
        for (std::size_t k = 0; k < 1152; ++k) {
            ASSERT_EQ(out[k], both[2 * k]) << i << " " << k;
            ASSERT_EQ(out[1152 + k], 99) << "not written";
        }
    }
}

TEST_F(AudioDecoderTest, AddsNothingForAFrameWithoutSamples) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    const Failing failing("samples");
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0);
    EXPECT_EQ(written, 0u);
}

TEST_F(AudioDecoderTest, Gives426BytesFor80OfG726At24Kbit) {
    auto& decoder = Make(AUDIO_CODEC_G726_24, "g726");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    EXPECT_EQ(Decode(decoder, Bytes(80, 0x5a), 1000), 0);
    EXPECT_EQ(written, 426u);
}

TEST_F(AudioDecoderTest, AllocatesNothingOfItsOwnAfterTheFirstPacket) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    ASSERT_EQ(Decode(decoder, frames.at(0), 384000), 0);
    Bytes packet = frames.at(1);
    const Failing failing("av_frame_alloc");
    const AllocationCounter allocations;
    EXPECT_EQ(
        decoder.Decode(packet.data(), static_cast<unsigned int>(packet.size()), out.data(), 384000, consumed, written),
        0);
    EXPECT_EQ(allocations.count, 0);
}

TEST_F(AudioDecoderTest, DecodesWithoutTheLibraryLock) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    GetMainFfmpegCodecLib()->Lock();
    std::thread other([&] { EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0); });
    other.join();
    GetMainFfmpegCodecLib()->Unlock();
}

}  // namespace
