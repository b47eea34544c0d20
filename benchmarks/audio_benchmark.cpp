// What the audio objects cost beside plain loops over FFmpeg and libopus that do the same work. Both sides take turns
// packet by packet.

#include <benchmark/benchmark.h>
#include <opus/opus.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "benchmarks/plain_encode.h"
#include "benchmarks/side_by_side.h"
#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "support/ffmpeg.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kRate = 48000;
constexpr int kFrames = 50;  // a round

void Check(bool good) {
    if (!good) {
        std::abort();
    }
}

// A sound that gives every codec something to do, different in both channels, from -1 to 1.
double Sound(std::size_t sample, int channel) {
    const double t = static_cast<double>(sample) / kRate;
    return 0.3 * std::sin(2764 * t * (1 + channel)) + 0.2 * std::sin(9000 * t + 40 * std::sin(20 * t)) +
           0.1 * std::sin(40000 * t * t);
}

template <typename Sample>
Bytes Interleaved(std::size_t samples, double fullScale) {
    std::vector<Sample> sound;
    for (std::size_t i = 0; i < samples; ++i) {
        sound.push_back(static_cast<Sample>(Sound(i, 0) * fullScale));
        sound.push_back(static_cast<Sample>(Sound(i, 1) * fullScale));
    }
    Bytes bytes(sound.size() * sizeof(Sample));
    std::memcpy(bytes.data(), sound.data(), bytes.size());
    return bytes;
}

Bytes InputFor(int id) {
    return id == AUDIO_CODEC_AAC ? Interleaved<float>(1152 * kFrames, 1) : Interleaved<int16_t>(1152 * kFrames, 32767);
}

int SampleFormatFor(int id) {
    return id == AUDIO_CODEC_AAC ? AUDIO_SAMPLE_FLT : AUDIO_SAMPLE_S16;
}

std::size_t FrameBytes(int id) {
    return id == AUDIO_CODEC_AAC ? 1024 * 8 : 1152 * 4;
}

// Decoding: by the library.

class LibraryDecoder {
public:
    explicit LibraryDecoder(int id) : m_pDecoder(Codrelay_AudioDecoder(id)) {
        int sampleFormat = 0;
        Check(m_pDecoder->CreateDecoder(2, kRate, sampleFormat, nullptr, 0));
    }
    ~LibraryDecoder() {
        m_pDecoder->DestroyDecoder();
        m_pDecoder->Delete();
    }
    LibraryDecoder(const LibraryDecoder&) = delete;
    LibraryDecoder& operator=(const LibraryDecoder&) = delete;

    unsigned int Work(Bytes& packet) {
        unsigned int consumed = 0;
        unsigned int written = 0;
        Check(m_pDecoder->Decode(packet.data(), static_cast<unsigned int>(packet.size()), m_Out.data(), 384000,
                                 consumed, written) == 0);
        return written;
    }

private:
    CAudioDecoderBase* m_pDecoder;
    std::vector<short> m_Out = std::vector<short>(192000);
};

// Decoding: by FFmpeg's calls alone, to interleaved samples as well.
class PlainDecoder {
public:
    explicit PlainDecoder(const char* name) {
        const AVCodec* codec = avcodec_find_decoder_by_name(name);
        m_pContext = avcodec_alloc_context3(codec);
        SetLayout(m_pContext, 2, AV_CH_LAYOUT_STEREO);
        m_pContext->sample_rate = kRate;
        if (codec->id == AV_CODEC_ID_AAC) {
            m_pContext->extradata = static_cast<uint8_t*>(av_mallocz(64));
            m_pContext->extradata[0] = 0x11;
            m_pContext->extradata[1] = 0x90;
            m_pContext->extradata_size = 2;
        }
        Check(avcodec_open2(m_pContext, codec, nullptr) == 0);
        if (av_sample_fmt_is_planar(m_pContext->sample_fmt) != 0) {
            m_pResampler =
                swr_alloc_set_opts(nullptr, AV_CH_LAYOUT_STEREO, av_get_packed_sample_fmt(m_pContext->sample_fmt),
                                   kRate, AV_CH_LAYOUT_STEREO, m_pContext->sample_fmt, kRate, 0, nullptr);
            Check(swr_init(m_pResampler) == 0);
        }
    }
    ~PlainDecoder() {
        swr_free(&m_pResampler);
        av_packet_free(&m_pPacket);
        av_frame_free(&m_pFrame);
        avcodec_free_context(&m_pContext);
    }
    PlainDecoder(const PlainDecoder&) = delete;
    PlainDecoder& operator=(const PlainDecoder&) = delete;

    int Work(Bytes& packet) {
        m_pPacket->data = packet.data();
        m_pPacket->size = static_cast<int>(packet.size());
        Check(avcodec_send_packet(m_pContext, m_pPacket) == 0);
        int samples = 0;
        while (avcodec_receive_frame(m_pContext, m_pFrame) == 0) {
            uint8_t* out = m_Out.data();
            if (m_pResampler != nullptr) {
                samples += swr_convert(m_pResampler, &out, m_pFrame->nb_samples,
                                       const_cast<const uint8_t**>(m_pFrame->extended_data), m_pFrame->nb_samples);
            } else {
                std::memcpy(out, m_pFrame->data[0], static_cast<std::size_t>(m_pFrame->linesize[0]));
            }
        }
        return samples;
    }

private:
    AVCodecContext* m_pContext;
    SwrContext* m_pResampler = nullptr;
    AVPacket* m_pPacket = av_packet_alloc();
    AVFrame* m_pFrame = av_frame_alloc();
    Bytes m_Out = Bytes(384000);
};

class PlainOpus {
public:
    ~PlainOpus() { opus_decoder_destroy(m_pDecoder); }
    PlainOpus() = default;
    PlainOpus(const PlainOpus&) = delete;
    PlainOpus& operator=(const PlainOpus&) = delete;

    int Work(Bytes& packet) {
        return opus_decode(m_pDecoder, packet.data(), static_cast<int>(packet.size()), m_Out.data(), 5760, 0);
    }

private:
    OpusDecoder* m_pDecoder = opus_decoder_create(kRate, 2, nullptr);
    std::vector<short> m_Out = std::vector<short>(192000);
};

// Encoding: by the library.
class LibraryEncoder {
public:
    explicit LibraryEncoder(int id) : m_pEncoder(Codrelay_AudioEncoder(id)) {
        const AUDIO_FORMAT format = {kRate, 2, SampleFormatFor(id)};
        Check(m_pEncoder->CreateEncoder(&format, 128000));
    }
    ~LibraryEncoder() {
        m_pEncoder->DestroyEncoder();
        m_pEncoder->Delete();
    }
    LibraryEncoder(const LibraryEncoder&) = delete;
    LibraryEncoder& operator=(const LibraryEncoder&) = delete;

    unsigned int Work(Bytes& frame) {
        unsigned int consumed = 0;
        unsigned int written = 0;
        long long pts = 0;
        Check(m_pEncoder->Encode(frame.data(), static_cast<unsigned int>(frame.size()), m_Out.data(),
                                 static_cast<unsigned int>(m_Out.size()), consumed, written, pts) == 1);
        m_nWritten = written;
        return written;
    }
    Bytes Packet() const { return {m_Out.begin(), m_Out.begin() + m_nWritten}; }

private:
    CAudioEncoderBase* m_pEncoder;
    Bytes m_Out = Bytes(65536);
    unsigned int m_nWritten = 0;
};

// Encoding: by FFmpeg's calls alone, from interleaved samples as well.
class PlainEncoder {
public:
    explicit PlainEncoder(int id) {
        const char* name = id == AUDIO_CODEC_AAC ? "aac" : id == AUDIO_CODEC_MP3 ? "libmp3lame" : "pcm_s16le";
        const AVCodec* codec = avcodec_find_encoder_by_name(name);
        m_pContext = avcodec_alloc_context3(codec);
        m_pContext->bit_rate = 128000;
        m_pContext->sample_rate = kRate;
        SetLayout(m_pContext, 2, AV_CH_LAYOUT_STEREO);
        m_pContext->sample_fmt = id == AUDIO_CODEC_AAC   ? AV_SAMPLE_FMT_FLTP
                                 : id == AUDIO_CODEC_MP3 ? AV_SAMPLE_FMT_S16P
                                                         : AV_SAMPLE_FMT_S16;
        m_pContext->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
        Check(OpenSoundEncoder(m_pContext, codec) == 0);
        DescribeSound(m_pFrame, m_pContext);
    }
    ~PlainEncoder() {
        av_frame_free(&m_pFrame);
        avcodec_free_context(&m_pContext);
    }
    PlainEncoder(const PlainEncoder&) = delete;
    PlainEncoder& operator=(const PlainEncoder&) = delete;

    int Work(Bytes& frame) {
        const int sampleBytes = av_get_bytes_per_sample(m_pContext->sample_fmt);
        m_pFrame->nb_samples = static_cast<int>(frame.size()) / sampleBytes / 2;
        const uint8_t* samples = frame.data();
        if (m_pContext->sample_fmt == AV_SAMPLE_FMT_FLTP) {
            samples = Separated<uint32_t>(frame);
        } else if (m_pContext->sample_fmt == AV_SAMPLE_FMT_S16P) {
            samples = Separated<uint16_t>(frame);
        }
        avcodec_fill_audio_frame(m_pFrame, 2, m_pContext->sample_fmt, samples, static_cast<int>(frame.size()), 1);
        m_pFrame->pts = m_nPts;
        m_nPts += m_pFrame->nb_samples;
        return m_Encode(m_pContext, m_pFrame);
    }

private:
    template <typename Sample>
    const uint8_t* Separated(const Bytes& frame) {
        const auto* in = reinterpret_cast<const Sample*>(frame.data());
        auto* out = reinterpret_cast<Sample*>(m_Planes.data());
        const std::size_t count = frame.size() / sizeof(Sample) / 2;
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = in[2 * i];
            out[count + i] = in[2 * i + 1];
        }
        return m_Planes.data();
    }

    AVCodecContext* m_pContext;
    AVFrame* m_pFrame = av_frame_alloc();
    Bytes m_Planes = Bytes(65536);
    PlainEncode m_Encode{avcodec_encode_audio2, 65536};
    int64_t m_nPts = 0;
};

constexpr AUDIO_FORMAT kResampledFrom = {kRate, 2, AUDIO_SAMPLE_S16};
constexpr AUDIO_FORMAT kResampledTo = {16000, 1, AUDIO_SAMPLE_S16};
constexpr std::size_t kResampledBytes = 4096;

class LibraryResampler {
public:
    LibraryResampler() {
        unsigned int room = 0;
        Check(m_pResampler->Create(&kResampledFrom, &kResampledTo, kResampledBytes, room));
        m_Out.resize(room);
    }
    ~LibraryResampler() {
        m_pResampler->Destroy();
        m_pResampler->Delete();
    }
    LibraryResampler(const LibraryResampler&) = delete;
    LibraryResampler& operator=(const LibraryResampler&) = delete;

    unsigned int Work(Bytes& in) {
        unsigned int written = 0;
        Check(m_pResampler->Resample(in.data(), static_cast<unsigned int>(in.size()), m_Out.data(), written));
        return written;
    }
    std::size_t Room() const { return m_Out.size(); }

private:
    CAudioResamplerBase* m_pResampler = Codrelay_AudioResampler();
    Bytes m_Out;
};

class PlainResampler {
public:
    explicit PlainResampler(std::size_t room) : m_Out(room) { Check(swr_init(m_pResampler) == 0); }
    ~PlainResampler() { swr_free(&m_pResampler); }
    PlainResampler(const PlainResampler&) = delete;
    PlainResampler& operator=(const PlainResampler&) = delete;

    int Work(Bytes& in) {
        const uint8_t* from = in.data();
        uint8_t* to = m_Out.data();
        return swr_convert(m_pResampler, &to, static_cast<int>(m_Out.size() / 2), &from,
                           static_cast<int>(in.size() / 4));
    }

private:
    SwrContext* m_pResampler =
        swr_alloc_set_opts(nullptr, AV_CH_LAYOUT_MONO, AV_SAMPLE_FMT_S16, kResampledTo.sampleRate, AV_CH_LAYOUT_STEREO,
                           AV_SAMPLE_FMT_S16, kRate, 0, nullptr);
    Bytes m_Out;
};

std::vector<Bytes> Frames(const Bytes& input, std::size_t frameBytes) {
    std::vector<Bytes> frames;
    for (std::size_t at = 0; at + frameBytes <= input.size(); at += frameBytes) {
        const auto from = input.begin() + static_cast<std::ptrdiff_t>(at);
        frames.emplace_back(from, from + static_cast<std::ptrdiff_t>(frameBytes));
    }
    return frames;
}

std::vector<Bytes> Packets(int id) {
    if (id == AUDIO_CODEC_MULAW) {
        return Frames(Interleaved<int16_t>(1152 * kFrames, 32767), 2048);  // any bytes are a sound
    }
    LibraryEncoder encoder(id);
    std::vector<Bytes> packets;
    for (Bytes& frame : Frames(InputFor(id), FrameBytes(id))) {
        if (encoder.Work(frame) > 0) {
            packets.push_back(encoder.Packet());
        }
    }
    return packets;
}

std::vector<Bytes> OpusPackets() {
    OpusEncoder* encoder = opus_encoder_create(kRate, 2, OPUS_APPLICATION_AUDIO, nullptr);
    std::vector<Bytes> packets;
    for (Bytes& frame : Frames(Interleaved<int16_t>(1152 * kFrames, 32767), 960 * 4)) {
        std::vector<short> samples(960 * 2);
        std::memcpy(samples.data(), frame.data(), frame.size());
        Bytes packet(4000);
        const int size = opus_encode(encoder, samples.data(), 960, packet.data(), 4000);
        Check(size > 0);
        packet.resize(static_cast<std::size_t>(size));
        packets.push_back(packet);
    }
    opus_encoder_destroy(encoder);
    return packets;
}

// A few pieces at a time, so that the clock's own cost does not count.
constexpr std::size_t kPiecesAtOnce = 8;

template <typename Loop>
void Work(Loop& loop, std::vector<Bytes>& pieces, std::size_t from) {
    for (std::size_t i = from; i < std::min(pieces.size(), from + kPiecesAtOnce); ++i) {
        benchmark::DoNotOptimize(loop.Work(pieces[i]));
    }
}

template <typename Plain, typename Library>
void Compare(benchmark::State& state, Plain& plain, Library& library, std::vector<Bytes> pieces) {
    av_log_set_level(AV_LOG_QUIET);
    SideBySide sides(state);
    for (auto _ : state) {
        for (std::size_t from = 0; from < pieces.size(); from += kPiecesAtOnce) {
            sides.Turn([&] { Work(plain, pieces, from); }, [&] { Work(library, pieces, from); });
        }
        sides.EndRound();
    }
    sides.Tell("us", 1e6, static_cast<double>(pieces.size()), 1.02);
}

void Decode(benchmark::State& state, int id, const char* name) {
    LibraryDecoder library(id);
    PlainDecoder plain(name);
    Compare(state, plain, library, Packets(id));
}

void DecodeOpus(benchmark::State& state) {
    LibraryDecoder library(AUDIO_CODEC_OPUS);
    PlainOpus plain;
    Compare(state, plain, library, OpusPackets());
}

void Encode(benchmark::State& state, int id) {
    LibraryEncoder library(id);
    PlainEncoder plain(id);
    Compare(state, plain, library, Frames(InputFor(id), FrameBytes(id)));
}

void Resample(benchmark::State& state) {
    LibraryResampler library;
    PlainResampler plain(library.Room());
    Compare(state, plain, library, Frames(Interleaved<int16_t>(1152 * kFrames, 32767), kResampledBytes));
}

BENCHMARK_CAPTURE(Decode, aac, AUDIO_CODEC_AAC, "aac")->UseManualTime()->MinTime(2);
BENCHMARK_CAPTURE(Decode, mp3, AUDIO_CODEC_MP3, "mp3")->UseManualTime()->MinTime(2);
BENCHMARK_CAPTURE(Decode, mulaw, AUDIO_CODEC_MULAW, "pcm_mulaw")->UseManualTime()->MinTime(2);
BENCHMARK(DecodeOpus)->UseManualTime()->MinTime(2);
BENCHMARK_CAPTURE(Encode, aac, AUDIO_CODEC_AAC)->UseManualTime()->MinTime(2);
BENCHMARK_CAPTURE(Encode, mp3, AUDIO_CODEC_MP3)->UseManualTime()->MinTime(2);
BENCHMARK_CAPTURE(Encode, pcm, AUDIO_CODEC_PCM_S16LE)->UseManualTime()->MinTime(2);
BENCHMARK(Resample)->UseManualTime()->MinTime(2);

}  // namespace
