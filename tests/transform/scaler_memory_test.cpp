// The scaler's bytes, on host's buffers of exactly the size of the picture that end where memory does, source and
// target: its fast paths read and write whole vector registers.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "transform/pictures.h"

namespace {

constexpr std::size_t kRoom = std::size_t{1} << 24;

struct Case {
    Dimensions from;
    Dimensions to;
};

class ScalerMemory : public testing::TestWithParam<unsigned int> {
protected:
    ScalerMemory() : m_Source(kRoom), m_Target(kRoom) {
        av_log_set_level(AV_LOG_QUIET);  // the scaler's own words
    }

    void ExpectScalersPictures(const Case& c) {
        for (const unsigned int to : kColorSpaces) {
            SCOPED_TRACE(std::to_string(c.from.width) + "x" + std::to_string(c.from.height) + " to " +
                         std::to_string(c.to.width) + "x" + std::to_string(c.to.height) + ", colour space " +
                         std::to_string(to));
            ExpectScalersPicture(c, to);
            ASSERT_FALSE(HasFatalFailure());
        }
    }

    void ExpectScalersPicture(const Case& c, unsigned int to) {
        const std::vector<uint8_t> source =
            Noise(TightSize(GetParam(), c.from), static_cast<unsigned int>(c.from.width * 7 + c.from.height));
        const std::vector<uint8_t> expected = ScaleLikeFfmpeg(GetParam(), c.from, source.data(), to, c.to);
        // A part of no size is none, but asks for a scaler where the picture would stay as it is.
        const std::shared_ptr<CFfmpegVideoTransform> transform =
            NewTransform(GetParam(), c.from, {0, 0, 0, 0}, to, c.to);
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

/// What processors of all ages can do, until the end of the scope.
class Processor {
public:
    explicit Processor(int flags) { av_force_cpu_flags(flags); }
    ~Processor() { av_force_cpu_flags(-1); }
    Processor(const Processor&) = delete;
    Processor& operator=(const Processor&) = delete;
};

// Each generation has fast paths of its own.
TEST_P(ScalerMemory, OlderProcessorsAreServedInsideTheBuffersToo) {
    constexpr int kSse2 = AV_CPU_FLAG_MMX | AV_CPU_FLAG_MMXEXT | AV_CPU_FLAG_SSE | AV_CPU_FLAG_SSE2;
    constexpr int kSsse3 = kSse2 | AV_CPU_FLAG_SSE3 | AV_CPU_FLAG_SSSE3;
    constexpr int kAvx = kSsse3 | AV_CPU_FLAG_SSE4 | AV_CPU_FLAG_SSE42 | AV_CPU_FLAG_AVX;
    std::mt19937 random(4);
    const auto any = [&random] { return 8 + static_cast<int>(random() % 63); };
    for (const int flags : {0, kSse2, kSsse3, kAvx}) {
        const Processor processor(flags);
        for (int width = 8; width <= 70; ++width) {
            const int height = any();
            ExpectScalersPictures({{width, height}, {width, height}});
            ExpectScalersPictures({{any(), any()}, {width, any()}});
            ASSERT_FALSE(HasFatalFailure()) << "flags " << flags;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(From, ScalerMemory, testing::ValuesIn(kColorSpaces),
                         [](const auto& instance) { return "ColorSpace" + std::to_string(instance.param); });

}  // namespace
