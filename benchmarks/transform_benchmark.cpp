// What `Transform` costs beside libswscale called plainly. Where the tight rows of a picture may be read and written in
// place, the plain way does that, with room behind the source for what libswscale reads past its end; where they may
// not, it scales between padded pictures and copies the rows. A crop alone stands beside the copies of its rows.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "benchmarks/side_by_side.h"
#include "codrelay/factories.h"
#include "codrelay/ffmpeg_vocabulary.h"
#include "codrelay/media_ids.h"
#include "support/ffmpeg.h"
#include "support/scaler.h"

namespace {

constexpr std::size_t kRoom = 64;

struct Size {
    int width;
    int height;
};

struct Side {
    unsigned int colorSpace;
    Size size;

    AVPixelFormat Format() const { return GetFFmpegPixelFormat(static_cast<int>(colorSpace)); }
};

void Check(bool good) {
    if (!good) {
        std::abort();
    }
}

/// A picture whose rows are a multiple of `alignment` bytes apart, or tight for 1.
class Picture : public CFrameBufferBase {
public:
    /// In memory of its own unless it is given some.
    Picture(const Side& side, int alignment, unsigned char* memory = nullptr) : m_Side(side) {
        const int width = FFALIGN(side.size.width, alignment);
        Check(av_image_fill_linesizes(m_Linesizes, side.Format(), width) >= 0);
        const int size = av_image_fill_pointers(m_Planes, side.Format(), side.size.height, nullptr, m_Linesizes);
        if (memory == nullptr) {
            FillBytes(static_cast<std::size_t>(size) + kRoom);
            memory = m_Bytes.data();
        }
        av_image_fill_pointers(m_Planes, side.Format(), side.size.height, memory, m_Linesizes);
    }

    unsigned char* GetData() override { return m_Planes[0]; }
    const unsigned char* GetConstData() override { return m_Planes[0]; }
    uint8_t** Planes() { return m_Planes; }
    int* Linesizes() { return m_Linesizes; }

    void CopyFrom(Picture& other) {
        const uint8_t* from[4] = {other.m_Planes[0], other.m_Planes[1], other.m_Planes[2], other.m_Planes[3]};
        av_image_copy(m_Planes, m_Linesizes, from, other.m_Linesizes, m_Side.Format(), m_Side.size.width,
                      m_Side.size.height);
    }

private:
    void FillBytes(std::size_t count) {
        m_Bytes.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            m_Bytes[i] = static_cast<unsigned char>((i * 7) ^ (i >> 8));
        }
    }

    Side m_Side;
    int m_Linesizes[4];
    uint8_t* m_Planes[4];
    std::vector<unsigned char> m_Bytes;
};

/// libswscale alone, by way of padded pictures where it is told so.
class PlainScaling {
public:
    PlainScaling(const Side& from, const Side& to, bool paddedSource, bool paddedTarget, unsigned char* target)
        : m_Scaler(
              NewScaler(from.size.width, from.size.height, from.Format(), to.size.width, to.size.height, to.Format())),
          m_nHeight(from.size.height),
          m_Target(to, 1, target) {
        if (paddedSource) {
            m_pPaddedSource = std::make_unique<Picture>(from, 64);
        }
        if (paddedTarget) {
            m_pPaddedTarget = std::make_unique<Picture>(to, 64);
        }
    }

    void Work(Picture& source) {
        if (m_pPaddedSource != nullptr) {
            m_pPaddedSource->CopyFrom(source);
        }
        Picture& from = m_pPaddedSource != nullptr ? *m_pPaddedSource : source;
        Picture& to = m_pPaddedTarget != nullptr ? *m_pPaddedTarget : m_Target;
        sws_scale(m_Scaler.get(), from.Planes(), from.Linesizes(), 0, m_nHeight, to.Planes(), to.Linesizes());
        if (m_pPaddedTarget != nullptr) {
            m_Target.CopyFrom(*m_pPaddedTarget);
        }
    }

private:
    ScalerPtr m_Scaler;
    int m_nHeight;
    Picture m_Target;
    std::unique_ptr<Picture> m_pPaddedSource;
    std::unique_ptr<Picture> m_pPaddedTarget;
};

void Scale(benchmark::State& state, Side from, Side to, bool paddedSource, bool paddedTarget) {
    av_log_set_level(AV_LOG_QUIET);
    Picture source(from, 1);
    const auto transform = Codrelay_VideoTransform(from.colorSpace, from.size.width, from.size.height, nullptr,
                                                   to.colorSpace, to.size.width, to.size.height);
    // Both write to the same memory: how it lies to the source counts for more than all else.
    PlainScaling plain(from, to, paddedSource, paddedTarget, transform->Transform(&source)->GetData());
    SideBySide sides(state);
    for (auto _ : state) {
        sides.Turn([&] { plain.Work(source); }, [&] { Check(transform->Transform(&source) != nullptr); });
        sides.EndRound();
    }
    sides.Tell("us", 1e6, 1, 1.02);
}

void Direct(benchmark::State& state, Side from, Side to) {
    Scale(state, from, to, false, false);
}

void PaddedSource(benchmark::State& state, Side from, Side to) {
    Scale(state, from, to, true, false);
}

void PaddedTarget(benchmark::State& state, Side from, Side to) {
    Scale(state, from, to, false, true);
}

constexpr Size kHd{1280, 720};
constexpr Size kHalfHd{640, 360};

/// Copies the rows of the middle quarter of a plane.
unsigned char* CopyMiddle(unsigned char* to, const unsigned char* plane, int rowBytes, int rows) {
    for (int row = rows / 4; row < rows * 3 / 4; ++row, to += rowBytes / 2) {
        std::memcpy(to, plane + static_cast<std::ptrdiff_t>(row) * rowBytes + rowBytes / 4,
                    static_cast<std::size_t>(rowBytes) / 2);
    }
    return to;
}

void Crop(benchmark::State& state, unsigned int colorSpace) {
    const Side whole{colorSpace, kHd};
    Picture source(whole, 1);
    CVideoTransformBase::ZOOM_RECT middle{25, 25, 75, 75};
    const auto transform =
        Codrelay_VideoTransform(colorSpace, kHd.width, kHd.height, &middle, colorSpace, kHalfHd.width, kHalfHd.height);
    unsigned char* const part = transform->Transform(&source)->GetData();
    const auto copyRows = [&source, part] {
        unsigned char* to = part;
        for (int plane = 0; plane < 4 && source.Planes()[plane] != nullptr; ++plane) {
            to = CopyMiddle(to, source.Planes()[plane], source.Linesizes()[plane],
                            plane == 0 ? kHd.height : kHd.height / 2);
        }
    };
    // Several at a time: one is too short for the clock.
    constexpr int kAtOnce = 20;
    SideBySide sides(state);
    for (auto _ : state) {
        sides.Turn(
            [&] {
                for (int i = 0; i < kAtOnce; ++i) {
                    copyRows();
                    benchmark::ClobberMemory();
                }
            },
            [&] {
                for (int i = 0; i < kAtOnce; ++i) {
                    benchmark::DoNotOptimize(transform->Transform(&source));
                    benchmark::ClobberMemory();
                }
            });
        sides.EndRound();
    }
    sides.Tell("us", 1e6, kAtOnce, 1.10);
}

BENCHMARK_CAPTURE(Direct, yuv420p_to_rgb24, Side{CSP_YUV420P, kHd}, Side{CSP_RGB24, kHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, yuv420p_to_bgra, Side{CSP_YUV420P, kHd}, Side{CSP_BGRA, kHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, bgr24_to_yuv420p, Side{CSP_BGR24, kHd}, Side{CSP_YUV420P, kHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, rgb24_to_yuv420p, Side{CSP_RGB24, kHd}, Side{CSP_YUV420P, kHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, nv12_to_yuv420p, Side{CSP_NV12, kHd}, Side{CSP_YUV420P, kHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, yuyv422_to_yuv420p, Side{CSP_YUYV422, kHd}, Side{CSP_YUV420P, kHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, rgb24_to_bgra_1366x768, Side{CSP_RGB24, {1366, 768}}, Side{CSP_BGRA, {1366, 768}})
    ->UseManualTime();
BENCHMARK_CAPTURE(Direct, yuv420p_halved, Side{CSP_YUV420P, kHd}, Side{CSP_YUV420P, kHalfHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, yuv420p_to_854x480, Side{CSP_YUV420P, kHd}, Side{CSP_YUV420P, {854, 480}})->UseManualTime();
BENCHMARK_CAPTURE(Direct, rgb24_halved, Side{CSP_RGB24, kHd}, Side{CSP_RGB24, kHalfHd})->UseManualTime();
BENCHMARK_CAPTURE(Direct, yuv420p_doubled_to_bgra, Side{CSP_YUV420P, kHalfHd}, Side{CSP_BGRA, kHd})->UseManualTime();

BENCHMARK_CAPTURE(PaddedTarget, yuv420p_to_rgb24_854x480, Side{CSP_YUV420P, {854, 480}}, Side{CSP_RGB24, {854, 480}})
    ->UseManualTime();
BENCHMARK_CAPTURE(PaddedTarget, nv12_to_yuv420p_720x576, Side{CSP_NV12, {720, 576}}, Side{CSP_YUV420P, {720, 576}})
    ->UseManualTime();
BENCHMARK_CAPTURE(PaddedTarget, yuv420p_to_853x480, Side{CSP_YUV420P, kHd}, Side{CSP_YUV420P, {853, 480}})
    ->UseManualTime();
BENCHMARK_CAPTURE(PaddedSource, rgb24_853x480_scaled, Side{CSP_RGB24, {853, 480}}, Side{CSP_RGB24, kHalfHd})
    ->UseManualTime();
BENCHMARK_CAPTURE(PaddedSource, bgra_853x480_to_yuv420p, Side{CSP_BGRA, {853, 480}}, Side{CSP_YUV420P, kHalfHd})
    ->UseManualTime();

BENCHMARK_CAPTURE(Crop, yuv420p, CSP_YUV420P)->UseManualTime();
BENCHMARK_CAPTURE(Crop, yuyv422, CSP_YUYV422)->UseManualTime();
BENCHMARK_CAPTURE(Crop, rgb24, CSP_RGB24)->UseManualTime();

}  // namespace
