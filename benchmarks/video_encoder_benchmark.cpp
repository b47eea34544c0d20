// What `CVideoEncoder::Encode` costs beside a plain FFmpeg loop over a codec that is open in the same way. Each picture
// is encoded by both in turn.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "benchmarks/side_by_side.h"
#include "front/registry/media_vocabulary.h"
#include "support/ffmpeg.h"
#include "video_encoder/video_encoder.h"

namespace {

constexpr unsigned int kWidth = 640;
constexpr unsigned int kHeight = 360;
/// One round encodes from one key picture up to the next, so that all rounds are alike.
constexpr int kPictures = 25;

class Picture : public CFrameBufferBase {
public:
    explicit Picture(unsigned int number) : m_Bytes(kWidth * kHeight * 3 / 2) {
        for (unsigned int i = 0; i < m_Bytes.size(); ++i) {
            const unsigned int x = i % kWidth + 3 * number;
            const unsigned int y = i / kWidth + number;
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
    explicit OpenEncoderOf(int id)
        : CVideoEncoder(
              VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV], GetFFmpegVideoEncoderName(id), CSP_YUV420P,
              GetFFmpegPixelFormat(static_cast<AVCodecID>(VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV]), CSP_YUV420P)) {
        av_log_set_level(AV_LOG_QUIET);
        if (CreateEncoder(CSP_YUV420P, kWidth, kHeight, 25, 1000000, 0, 1, kPictures) == 0) {
            std::abort();
        }
    }
    ~OpenEncoderOf() override { DestroyEncoder(); }

    AVCodecContext* Context() const { return m_pCodecContext; }
};

std::vector<std::unique_ptr<Picture>> Pictures() {
    std::vector<std::unique_ptr<Picture>> pictures;
    for (unsigned int number = 0; number < kPictures; ++number) {
        pictures.push_back(std::make_unique<Picture>(number));
    }
    return pictures;
}

/// FFmpeg's calls alone.
class PlainLoop {
public:
    explicit PlainLoop(int id)
        : m_Encoder(id), m_Out(static_cast<std::size_t>(m_Encoder.GetMaxOutFrameLength(kWidth, kHeight))) {
        m_pFrame->format = m_Encoder.Context()->pix_fmt;
        m_pFrame->width = kWidth;
        m_pFrame->height = kHeight;
    }
    ~PlainLoop() { av_frame_free(&m_pFrame); }
    PlainLoop(const PlainLoop&) = delete;
    PlainLoop& operator=(const PlainLoop&) = delete;

    int Encode(Picture& picture) {
        av_image_fill_arrays(m_pFrame->data, m_pFrame->linesize, picture.GetData(), m_Encoder.Context()->pix_fmt,
                             kWidth, kHeight, 1);
        m_pFrame->pict_type = AV_PICTURE_TYPE_P;
        AVPacket packet;
        av_init_packet(&packet);
        packet.data = m_Out.data();
        packet.size = static_cast<int>(m_Out.size());
        int gotPacket = 0;
        avcodec_encode_video2(m_Encoder.Context(), &packet, m_pFrame, &gotPacket);
        const int size = packet.size;
        av_packet_unref(&packet);
        return size;
    }

private:
    OpenEncoderOf m_Encoder;
    std::vector<unsigned char> m_Out;
    AVFrame* m_pFrame = av_frame_alloc();
};

class LibraryLoop {
public:
    explicit LibraryLoop(int id)
        : m_Encoder(id), m_Out(static_cast<std::size_t>(m_Encoder.GetMaxOutFrameLength(kWidth, kHeight))) {}

    int Encode(Picture& picture) {
        int keyFrame = 0;
        return m_Encoder.Encode(&picture, m_Out.data(), static_cast<unsigned int>(m_Out.size()), &keyFrame);
    }

private:
    OpenEncoderOf m_Encoder;
    std::vector<unsigned char> m_Out;
};

void Encode(benchmark::State& state, int id) {
    const auto pictures = Pictures();
    PlainLoop plain(id);
    LibraryLoop library(id);
    SideBySide sides(state);
    for (auto _ : state) {
        for (const auto& picture : pictures) {
            sides.Turn([&] { benchmark::DoNotOptimize(plain.Encode(*picture)); },
                       [&] { benchmark::DoNotOptimize(library.Encode(*picture)); });
        }
        sides.EndRound();
    }
    sides.Tell("ms", 1e3, kPictures);
}

// H.263 has no 640x360.
BENCHMARK_CAPTURE(Encode, h264, VIDEO_CODEC_H264)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);
BENCHMARK_CAPTURE(Encode, mpeg4, VIDEO_CODEC_MPEG4)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);
BENCHMARK_CAPTURE(Encode, flv, VIDEO_CODEC_FLV)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);
BENCHMARK_CAPTURE(Encode, mjpeg, VIDEO_CODEC_MJPEG)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);

}  // namespace
