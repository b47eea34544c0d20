// What `Decode` costs beside FFmpeg's calls for the same pictures in a buffer that is reused, as they come and as
// RGB24. Each packet is decoded by both in turn; a round is a whole clip.

#include <benchmark/benchmark.h>

#include "benchmarks/clip.h"
#include "benchmarks/decode_loops.h"
#include "benchmarks/side_by_side.h"

namespace {

void Compare(benchmark::State& state, const char* clipName, bool rgb) {
    Clip clip = ReadClip(clipName);
    PlainDecoder plain(clip, rgb);
    LibraryDecoder library(clip, rgb);
    SideBySide sides(state);
    for (auto _ : state) {
        for (ClipPacket& packet : clip.packets) {
            int plainPictures = 0;
            int libraryPictures = 0;
            sides.Turn([&] { plainPictures = plain.Decode(packet); },
                       [&] { libraryPictures = library.Decode(packet); });
            Check(plainPictures == 1 && libraryPictures == 1);
        }
        sides.EndRound();
    }
    sides.Tell("ms", 1e3, static_cast<double>(clip.packets.size()), 1.01);
}

void Decode(benchmark::State& state, const char* clipName) {
    Compare(state, clipName, false);
}

void DecodeToRgb(benchmark::State& state, const char* clipName) {
    Compare(state, clipName, true);
}

void InRounds(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(SideBySide::kRounds);
}

BENCHMARK_CAPTURE(Decode, h264_640x360, "h264_360.264")->Apply(InRounds);
BENCHMARK_CAPTURE(Decode, h264_1920x1080, "h264_1080.264")->Apply(InRounds);
BENCHMARK_CAPTURE(Decode, h265_640x360, "h265_360.265")->Apply(InRounds);
BENCHMARK_CAPTURE(Decode, mjpeg_640x360, "mjpeg_360.avi")->Apply(InRounds);
BENCHMARK_CAPTURE(Decode, mpeg4_640x360, "mpeg4_360.avi")->Apply(InRounds);
BENCHMARK_CAPTURE(DecodeToRgb, h264_640x360, "h264_360.264")->Apply(InRounds);
BENCHMARK_CAPTURE(DecodeToRgb, h264_1920x1080, "h264_1080.264")->Apply(InRounds);
BENCHMARK_CAPTURE(DecodeToRgb, h265_640x360, "h265_360.265")->Apply(InRounds);
BENCHMARK_CAPTURE(DecodeToRgb, mjpeg_640x360, "mjpeg_360.avi")->Apply(InRounds);
BENCHMARK_CAPTURE(DecodeToRgb, mpeg4_640x360, "mpeg4_360.avi")->Apply(InRounds);

}  // namespace
