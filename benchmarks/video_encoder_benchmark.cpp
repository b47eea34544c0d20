// What `CVideoEncoder::Encode` costs beside a plain FFmpeg loop over a codec that is open in the same way. Each picture
// is encoded by both in turn.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "benchmarks/plain_encode.h"
#include "benchmarks/side_by_side.h"
#include "front/registry/media_vocabulary.h"
#include "support/ffmpeg.h"
#include "video_encoder/video_encoder.h"

namespace {

struct Size {
    unsigned int width;
    unsigned int height;
};

constexpr Size kHalfHd{640, 360};
constexpr Size kCif{352, 288};  // H.263 knows a handful of sizes only
/// One round encodes from one key picture up to the next, so that all rounds are alike.
constexpr int kPictures = 25;

class Picture : public CFrameBufferBase {
public:
    Picture(Size size, unsigned int number) : m_Bytes(size.width * size.height * 3 / 2) {
        for (unsigned int i = 0; i < m_Bytes.size(); ++i) {
            const unsigned int x = i % size.width + 3 * number;
            const unsigned int y = i / size.width + number;
            m_Bytes[i] = static_cast<unsigned char>((x * 2) ^ (y * 3 + x / 16));
        }
    }

    unsigned char* GetData() override { return m_Bytes.data(); }
    const unsigned char* GetConstData() override { return m_Bytes.data(); }

private:
    std::vector<unsigned char> m_Bytes;
};

class OpenEncoderOf : public CVideoEncoder {
public:
    OpenEncoderOf(int id, Size size)
        : CVideoEncoder(
              VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV], GetFFmpegVideoEncoderName(id), CSP_YUV420P,
              GetFFmpegPixelFormat(static_cast<AVCodecID>(VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV]), CSP_YUV420P)) {
        av_log_set_level(AV_LOG_QUIET);
        if (CreateEncoder(CSP_YUV420P, size.width, size.height, 25, 1000000, 0, 1, kPictures) == 0) {
            std::abort();
        }
    }
    ~OpenEncoderOf() override { DestroyEncoder(); }

    AVCodecContext* Context() const { return m_pCodecContext; }
};

std::vector<std::unique_ptr<Picture>> PicturesOf(Size size) {
    std::vector<std::unique_ptr<Picture>> pictures;
    for (unsigned int number = 0; number < kPictures; ++number) {
        pictures.push_back(std::make_unique<Picture>(size, number));
    }
    return pictures;
}

/// FFmpeg's calls alone.
class PlainLoop {
public:
    PlainLoop(int id, Size size)
        : m_Encoder(id, size),
          m_Encode(avcodec_encode_video2,
                   static_cast<std::size_t>(m_Encoder.GetMaxOutFrameLength(size.width, size.height))) {
        m_pFrame->format = m_Encoder.Context()->pix_fmt;
        m_pFrame->width = m_Encoder.Context()->width;
        m_pFrame->height = m_Encoder.Context()->height;
    }
    ~PlainLoop() { av_frame_free(&m_pFrame); }
    PlainLoop(const PlainLoop&) = delete;
    PlainLoop& operator=(const PlainLoop&) = delete;

    int Encode(Picture& picture) {
        av_image_fill_arrays(m_pFrame->data, m_pFrame->linesize, picture.GetData(), m_Encoder.Context()->pix_fmt,
                             m_pFrame->width, m_pFrame->height, 1);
        m_pFrame->pict_type = AV_PICTURE_TYPE_P;
        return m_Encode(m_Encoder.Context(), m_pFrame);
    }

private:
    OpenEncoderOf m_Encoder;
    PlainEncode m_Encode;
    AVFrame* m_pFrame = av_frame_alloc();
};

class LibraryLoop {
public:
    LibraryLoop(int id, Size size)
        : m_Encoder(id, size),
          m_Out(static_cast<std::size_t>(m_Encoder.GetMaxOutFrameLength(size.width, size.height))) {}

    int Encode(Picture& picture) {
        int keyFrame = 0;
        return m_Encoder.Encode(&picture, m_Out.data(), static_cast<unsigned int>(m_Out.size()), &keyFrame);
    }

private:
    OpenEncoderOf m_Encoder;
    std::vector<unsigned char> m_Out;
};

void Encode(benchmark::State& state, int id, Size size) {
    const auto pictures = PicturesOf(size);
    PlainLoop plain(id, size);
    LibraryLoop library(id, size);
    SideBySide sides(state);
    for (auto _ : state) {
        for (const auto& picture : pictures) {
            sides.Turn([&] { benchmark::DoNotOptimize(plain.Encode(*picture)); },
                       [&] { benchmark::DoNotOptimize(library.Encode(*picture)); });
        }
        sides.EndRound();
    }
    sides.Tell("ms", 1e3, kPictures, 1.01);
}

void InRounds(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(SideBySide::kRounds);
}

BENCHMARK_CAPTURE(Encode, h264_640x360, VIDEO_CODEC_H264, kHalfHd)->Apply(InRounds);
BENCHMARK_CAPTURE(Encode, mpeg4_640x360, VIDEO_CODEC_MPEG4, kHalfHd)->Apply(InRounds);
BENCHMARK_CAPTURE(Encode, h263_352x288, VIDEO_CODEC_H263, kCif)->Apply(InRounds);
BENCHMARK_CAPTURE(Encode, flv_640x360, VIDEO_CODEC_FLV, kHalfHd)->Apply(InRounds);
BENCHMARK_CAPTURE(Encode, mjpeg_640x360, VIDEO_CODEC_MJPEG, kHalfHd)->Apply(InRounds);

}  // namespace
