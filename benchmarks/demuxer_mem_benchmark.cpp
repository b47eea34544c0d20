// What it costs to push a container through a memory demuxer, beside a plain loop of libavformat that reads the same
// bytes in memory. The library hands the bytes from thread to thread, so the clock on the wall counts; both sides take
// turns round by round.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "benchmarks/side_by_side.h"
#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "support/ffmpeg.h"
#include "uvqlog/control.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kSoundBytes = 256U << 20;
constexpr std::size_t kPieceBytes = 64U << 10;
constexpr int kIoBytes = 32768;
/// So much behind the sound makes the demuxer take all of it.
constexpr std::size_t kLapBytes = 524288;
/// The hand-over from thread to thread may take that much of the plain loop's throughput.
constexpr double kLeastThroughput = 0.8;

void Check(bool good) {
    if (!good) {
        std::abort();
    }
}

void Append(Bytes& bytes, unsigned int value, int count) {
    for (int i = 0; i < count; ++i) {
        bytes.push_back(static_cast<unsigned char>(value >> (8 * i)));
    }
}

void Append(Bytes& bytes, const char* mark) {
    bytes.insert(bytes.end(), mark, mark + std::strlen(mark));
}

/// Stereo of 16 bits at 48000 Hz; what it sounds like is all one to a demuxer.
Bytes WavFile() {
    Bytes wav;
    Append(wav, "RIFF");
    Append(wav, kSoundBytes + 36, 4);
    Append(wav, "WAVEfmt ");
    Append(wav, 16, 4);
    Append(wav, 1, 2);
    Append(wav, 2, 2);
    Append(wav, 48000, 4);
    Append(wav, 192000, 4);
    Append(wav, 4, 2);
    Append(wav, 16, 2);
    Append(wav, "data");
    Append(wav, kSoundBytes, 4);
    unsigned int noise = 1;
    while (wav.size() < 44 + kSoundBytes) {
        noise = noise * 1664525 + 1013904223;
        Append(wav, noise, 4);
    }
    return wav;
}

/// Counts what comes out, as a host's callback at its cheapest.
class Counter : public CDemuxerMemCallback {
public:
    int OnVideoStream(int, int) override { return 0; }
    int OnAudioStream(int, int, AUDIO_FORMAT*) override { return 0; }
    int OnPacket(DEMUXER_PACKET* packet) override {
        m_Bytes += static_cast<std::size_t>(packet->size);
        return 0;
    }
    std::size_t Total() const { return m_Bytes; }

private:
    std::size_t m_Bytes = 0;
};

void Push(CDemuxerMemBase& demuxer, Bytes& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += kPieceBytes) {
        const std::size_t size = std::min(kPieceBytes, bytes.size() - at);
        Check(demuxer.WriteData(bytes.data() + at, static_cast<unsigned int>(size)));
    }
}

void ByTheLibrary(Bytes& wav) {
    Counter counter;
    CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_WAV, &counter);
    Push(*demuxer, wav);
    Bytes silence(kLapBytes + kPieceBytes);
    Push(*demuxer, silence);
    demuxer->Delete();
    Check(counter.Total() == kSoundBytes);
}

struct Reader {
    const Bytes& bytes;
    std::size_t position = 0;

    static int Read(void* opaque, unsigned char* out, int size) {
        auto* self = static_cast<Reader*>(opaque);
        const std::size_t count = std::min(static_cast<std::size_t>(size), self->bytes.size() - self->position);
        std::memcpy(out, self->bytes.data() + self->position, count);
        self->position += count;
        return count != 0 ? static_cast<int>(count) : AVERROR_EOF;
    }
};

std::size_t ReadAllPackets(AVFormatContext* context) {
    std::size_t total = 0;
    AVPacket packet;
    av_init_packet(&packet);
    while (av_read_frame(context, &packet) >= 0) {
        total += static_cast<std::size_t>(packet.size);
        av_packet_unref(&packet);
    }
    return total;
}

void ByAPlainLoop(const Bytes& wav) {
    Reader reader{wav};
    AVFormatContext* context = avformat_alloc_context();
    AVIOContext* io = avio_alloc_context(static_cast<unsigned char*>(av_malloc(kIoBytes)), kIoBytes, 0, &reader,
                                         Reader::Read, nullptr, nullptr);
    context->pb = io;
    Check(avformat_open_input(&context, "", av_find_input_format("wav"), nullptr) == 0);
    Check(ReadAllPackets(context) == kSoundBytes);
    avformat_close_input(&context);
    av_freep(&io->buffer);
    avio_context_free(&io);
}

void PushWav(benchmark::State& state) {
    av_log_set_level(AV_LOG_QUIET);
    uvqlog::ForbidLogging(true);  // the end of a demuxer is a line
    Bytes wav = WavFile();
    SideBySide sides(state, CLOCK_MONOTONIC);
    for (auto _ : state) {
        sides.Turn([&wav] { ByAPlainLoop(wav); }, [&wav] { ByTheLibrary(wav); });
        sides.EndRound();
    }
    sides.Tell("ms", 1e3, 1, 1 / kLeastThroughput);
}

BENCHMARK(PushWav)
    ->Name("DemuxMemory/wav_256_MiB")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(SideBySide::kRounds);

}  // namespace
