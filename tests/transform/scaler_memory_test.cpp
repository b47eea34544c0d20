// The scaler's bytes, on host's buffers of exactly the size of the picture that end where memory does, source and
// target: its fast paths read and write whole vector registers.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/cpu.h>
}

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "transform/pictures.h"

namespace {

constexpr std::size_t kRoom = std::size_t{1} << 24;

struct Case {
    Dimensions from;
    Dimensions to;
};

template <typename Param>
class ScalerMemoryOf : public testing::TestWithParam<Param> {
protected:
    ScalerMemoryOf() : m_Source(kRoom), m_Target(kRoom) {
        av_log_set_level(AV_LOG_QUIET);  // the scaler's own words
    }

    /// The colour space of the source.
    virtual unsigned int From() const = 0;

    void ExpectScalersPictures(const Case& c) {
        for (const unsigned int to : kColorSpaces) {
            SCOPED_TRACE(std::to_string(c.from.width) + "x" + std::to_string(c.from.height) + " to " +
                         std::to_string(c.to.width) + "x" + std::to_string(c.to.height) + ", colour space " +
                         std::to_string(to));
            ExpectScalersPicture(c, to);
            ASSERT_FALSE(testing::Test::HasFatalFailure());
        }
    }

    void ExpectScalersPicture(const Case& c, unsigned int to) {
        const std::vector<uint8_t> source =
            Noise(TightSize(From(), c.from), static_cast<unsigned int>(c.from.width * 7 + c.from.height));
        const std::vector<uint8_t> expected = ScaleLikeFfmpeg(From(), c.from, source.data(), to, c.to);
        // A part of no size is none, but asks for a scaler where the picture would stay as it is.
        const std::shared_ptr<CFfmpegVideoTransform> transform = NewTransform(From(), c.from, {0, 0, 0, 0}, to, c.to);
        ASSERT_EQ(expected.empty(), transform == nullptr);
        if (transform == nullptr) {
            return;
        }
        ASSERT_EQ(static_cast<std::size_t>(transform->GetOutFrameLength()), expected.size());
        uint8_t* const from = m_Source.Last(source.size());
        uint8_t* const target = m_Target.Last(expected.size());
        std::memcpy(from, source.data(), source.size());
        std::memset(target, 0, expected.size());
        ASSERT_TRUE(transform->Resize(from, target));
        ASSERT_EQ(std::memcmp(target, expected.data(), expected.size()), 0);
        ASSERT_EQ(std::memcmp(from, source.data(), source.size()), 0) << "the source was written to";

        HostFrame frame(from);
        CFrameBufferBase* picture = transform->Transform(&frame);
        ASSERT_NE(picture, nullptr);
        ASSERT_EQ(std::memcmp(picture->GetData(), expected.data(), expected.size()), 0);
    }

    LogCapture m_Log{uvqlog::Severity::Critical};  // of the shapes that the scaler does not offer
    GuardedBuffer m_Source;
    GuardedBuffer m_Target;
};

class ScalerMemory : public ScalerMemoryOf<unsigned int> {
protected:
    unsigned int From() const override { return GetParam(); }
};

// Every width with every fifth height, a different fifth from width to width.
TEST_P(ScalerMemory, SmallSizesAreConvertedLikeTheScalerDoesInsideTheirBuffers) {
    for (int width = 8; width <= 70; ++width) {
        for (int height = 8 + width % 5; height <= 70; height += 5) {
            ExpectScalersPictures({{width, height}, {width, height}});
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(ScalerMemory, ManySmallSizesAreScaledLikeTheScalerDoesInsideTheirBuffers) {
    std::mt19937 random(1);
    const auto any = [&random] { return 8 + static_cast<int>(random() % 63); };
    for (int i = 0; i < 200; ++i) {
        ExpectScalersPictures({{any(), any()}, {any(), any()}});
        ASSERT_FALSE(HasFatalFailure()) << "round " << i;
    }
}

TEST_P(ScalerMemory, LargerSizesAreConvertedAndScaledLikeTheScalerDoesInsideTheirBuffers) {
    std::mt19937 random(2);
    const auto any = [&random] { return 71 + static_cast<int>(random() % 530); };
    for (int i = 0; i < 15; ++i) {
        const Dimensions from{any(), any()};
        ExpectScalersPictures({from, i % 3 == 0 ? from : Dimensions{any(), any()}});
        ASSERT_FALSE(HasFatalFailure()) << "round " << i;
    }
}

// From about forty to one on, the scaler goes two ways and wants all of the picture at once.
TEST_P(ScalerMemory, ExtremeShapesAreScaledLikeTheScalerDoesInsideTheirBuffers) {
    std::mt19937 random(3);
    const auto any = [&random](int least) { return least + static_cast<int>(random() % (1U << random() % 11)); };
    for (int i = 0; i < 60; ++i) {
        ExpectScalersPictures({{any(1), any(1)}, {any(8), any(8)}});
        ASSERT_FALSE(HasFatalFailure()) << "round " << i;
    }
}

TEST_P(ScalerMemory, EveryReductionUpTo64To1IsLikeTheScalersInsideItsBuffers) {
    for (int ratio = 1; ratio <= 64; ++ratio) {
        ExpectScalersPictures({{16 * ratio + ratio % 3, 8}, {16, 8}});
        ExpectScalersPictures({{8, 16 * ratio + ratio % 3}, {8, 16}});
        ASSERT_FALSE(HasFatalFailure()) << "ratio " << ratio;
    }
}

TEST_P(ScalerMemory, UsualSizesAreLikeTheScalersInsideTheirBuffers) {
    const Dimensions sizes[] = {{176, 144}, {320, 240}, {426, 240}, {640, 360}, {854, 480}, {1366, 768}};
    for (const Dimensions& from : sizes) {
        ExpectScalersPictures({from, from});
        ExpectScalersPictures({from, {640, 360}});
        ASSERT_FALSE(HasFatalFailure());
    }
}

constexpr int kSse2 = AV_CPU_FLAG_MMX | AV_CPU_FLAG_MMXEXT | AV_CPU_FLAG_SSE | AV_CPU_FLAG_SSE2;
constexpr int kSsse3 = kSse2 | AV_CPU_FLAG_SSE3 | AV_CPU_FLAG_SSSE3;
constexpr int kAvx = kSsse3 | AV_CPU_FLAG_SSE4 | AV_CPU_FLAG_SSE42 | AV_CPU_FLAG_AVX;

/// Processors of all ages, by what they can do.
struct Processor {
    const char* name;
    int flags;
};

class OlderProcessor : public ScalerMemoryOf<std::tuple<unsigned int, Processor>> {
protected:
    unsigned int From() const override { return std::get<0>(GetParam()); }

    void Scale() {
        std::mt19937 random(4);
        const auto any = [&random] { return 8 + static_cast<int>(random() % 63); };
        for (int width = 8; width <= 70; ++width) {
            const int height = any();
            ExpectScalersPictures({{width, height}, {width, height}});
            ExpectScalersPictures({{any(), any()}, {width, any()}});
            ASSERT_FALSE(HasFatalFailure());
        }
    }
};

// Each generation has fast paths of its own, which libswscale picks when the first scaler of a process is made: hence a
// process for each.
TEST_P(OlderProcessor, IsServedInsideTheBuffersToo) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto work = [this] {
        av_force_cpu_flags(av_get_cpu_flags() & std::get<1>(GetParam()).flags);
        Scale();
        std::exit(HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(work(), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(From, OlderProcessor,
                         testing::Combine(testing::ValuesIn(kColorSpaces),
                                          testing::Values(Processor{"None", 0}, Processor{"Sse2", kSse2},
                                                          Processor{"Ssse3", kSsse3}, Processor{"Avx", kAvx})),
                         [](const auto& instance) {
                             return "ColorSpace" + std::to_string(std::get<0>(instance.param)) +
                                    std::get<1>(instance.param).name;
                         });

INSTANTIATE_TEST_SUITE_P(From, ScalerMemory, testing::ValuesIn(kColorSpaces),
                         [](const auto& instance) { return "ColorSpace" + std::to_string(instance.param); });

}  // namespace
