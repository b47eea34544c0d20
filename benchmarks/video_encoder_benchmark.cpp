// What `CVideoEncoder::Encode` costs beside a plain FFmpeg loop over a codec that is open in the same way. Each picture
// is encoded by both in turn, on the clock of the thread, so that what else the machine does strikes both alike; the
// medians of the rounds are told, and their ratio.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <vector>

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

double ThreadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

template <typename Loop>
double SecondsFor(Loop& loop, Picture& picture) {
    const double start = ThreadSeconds();
    benchmark::DoNotOptimize(loop.Encode(picture));
    return ThreadSeconds() - start;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void Encode(benchmark::State& state, int id) {
    const auto pictures = Pictures();
    PlainLoop plain(id);
    LibraryLoop library(id);
    std::vector<double> plainRounds;
    std::vector<double> libraryRounds;
    bool plainFirst = false;
    for (auto _ : state) {
        double plainSeconds = 0;
        double librarySeconds = 0;
        for (const auto& picture : pictures) {
            plainFirst = !plainFirst;
            plainSeconds += plainFirst ? SecondsFor(plain, *picture) : 0;
            librarySeconds += SecondsFor(library, *picture);
            plainSeconds += plainFirst ? 0 : SecondsFor(plain, *picture);
        }
        plainRounds.push_back(plainSeconds);
        libraryRounds.push_back(librarySeconds);
        state.SetIterationTime(librarySeconds);
    }
    state.counters["plain_ms"] = 1000 * Median(plainRounds) / kPictures;
    state.counters["library_ms"] = 1000 * Median(libraryRounds) / kPictures;
    state.counters["ratio"] = Median(libraryRounds) / Median(plainRounds);
}

// H.263 has no 640x360.
BENCHMARK_CAPTURE(Encode, h264, VIDEO_CODEC_H264)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);
BENCHMARK_CAPTURE(Encode, mpeg4, VIDEO_CODEC_MPEG4)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);
BENCHMARK_CAPTURE(Encode, flv, VIDEO_CODEC_FLV)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);
BENCHMARK_CAPTURE(Encode, mjpeg, VIDEO_CODEC_MJPEG)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(5);

}  // namespace
