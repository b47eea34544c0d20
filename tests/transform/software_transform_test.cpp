#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>
#include <thread>

#include "common/allocation_counter.h"
#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "transform/pictures.h"
#include "transform/slow_crop.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

const LoggedLine kNewFailed = Ffmpeg(Severity::Critical, "CFfmpegVideoTransform::New: failed");
const LoggedLine kScaleFailed = Ffmpeg(Severity::Error, "CFfmpegVideoTransform::Transform:  sws_scale failed");

class SoftwareTransform : public testing::Test {
protected:
    SoftwareTransform() {
        av_log_set_level(AV_LOG_QUIET);  // the scaler's own words
    }

    /// One frame through the transform; the picture's bytes, none where it failed.
    std::vector<uint8_t> Run(CFfmpegVideoTransform& transform, std::vector<uint8_t>& source) {
        HostFrame frame(source.data());
        CFrameBufferBase* picture = transform.Transform(&frame);
        return picture != nullptr ? BytesOf(transform, *picture) : std::vector<uint8_t>();
    }

    void ExpectFailureOfNew(unsigned int from, Dimensions in, unsigned int to, Dimensions out) {
        EXPECT_EQ(NewTransform(from, in, to, out), nullptr);
        const std::vector<LoggedLine> lines = m_Log.Take();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[1], kNewFailed);
    }

    LogCapture m_Log;
};

TEST_F(SoftwareTransform, TellsWhatItIsMadeFor) {
    NewTransform(CSP_YUV420P, {640, 360}, CSP_BGRA, {320, 240});
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Ffmpeg(Severity::Info,
                                   "CFfmpegVideoTransform::New: creating new software transform: in: w=640,h=360,csp=2 "
                                   "| out: w=320,h=240,csp=32")));
    NewTransform(0x80000000U, {-1, 0}, 0xffffffffU, {8, -8});
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Info,
                                                 "CFfmpegVideoTransform::New: creating new software transform: in: "
                                                 "w=-1,h=0,csp=2147483648 | out: w=8,h=-8,csp=4294967295"),
                                          kNewFailed));
}

TEST_F(SoftwareTransform, AChangeOfColourSpaceAloneIsDelivered) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_YUV420P, {64, 48}), 1);
    const std::vector<uint8_t> before = source;
    const auto transform = NewTransform(CSP_YUV420P, {64, 48}, CSP_RGB24, {64, 48});
    m_Log.Take();
    HostFrame frame(source.data(), 1234567890123);
    CFrameBufferBase* picture = transform->Transform(&frame);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->m_nTimestamp, 1234567890123);
    EXPECT_EQ(picture->GetColorSpace(), CSP_RGB24);
    EXPECT_EQ(picture->m_nWidth, 64U);
    EXPECT_EQ(picture->m_nHeight, 48U);
    EXPECT_EQ(picture->GetConstData(), picture->GetData());
    EXPECT_EQ(picture->GetAuxiliary(), 0);
    EXPECT_EQ(BytesOf(*transform, *picture),
              ScaleLikeFfmpeg(CSP_YUV420P, {64, 48}, source.data(), CSP_RGB24, {64, 48}));
    EXPECT_EQ(source, before);
    EXPECT_EQ(transform->GetSupportedColorSpaces(), 27U);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(SoftwareTransform, AChangeOfSizeAloneIsDelivered) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_BGR24, {66, 41}), 2);
    const auto transform = NewTransform(CSP_BGR24, {66, 41}, CSP_BGR24, {39, 70});
    HostFrame frame(source.data(), -5);
    CFrameBufferBase* picture = transform->Transform(&frame);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->m_nTimestamp, -5);
    EXPECT_EQ(picture->GetColorSpace(), CSP_BGR24);
    EXPECT_EQ(picture->m_nWidth, 39U);
    EXPECT_EQ(picture->m_nHeight, 70U);
    EXPECT_EQ(BytesOf(*transform, *picture), ScaleLikeFfmpeg(CSP_BGR24, {66, 41}, source.data(), CSP_BGR24, {39, 70}));
}

TEST_F(SoftwareTransform, TheIdOfTheOutputIsTheOneThatWasAskedFor) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_YUV420P, {32, 32}), 3);
    const unsigned int ids[][2] = {{CSP_YUV420P, CSP_YUV420P_ALT}, {CSP_YUV420P_ALT, CSP_YUV420P}};
    for (const auto& id : ids) {
        const auto transform = NewTransform(id[0], {32, 32}, id[1], {32, 32});
        HostFrame frame(source.data());
        CFrameBufferBase* picture = transform->Transform(&frame);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->GetColorSpace(), id[1]);
        EXPECT_EQ(BytesOf(*transform, *picture), source);
    }
}

TEST_F(SoftwareTransform, TheResultIsTheTransformsAndUsedAgain) {
    std::vector<uint8_t> first = Noise(TightSize(CSP_RGB24, {64, 48}), 4);
    std::vector<uint8_t> second = Noise(first.size(), 5);
    const auto transform = NewTransform(CSP_RGB24, {64, 48}, CSP_YUV420P, {32, 32});
    HostFrame a(first.data(), 1);
    HostFrame b(second.data(), 2);
    CFrameBufferBase* picture = transform->Transform(&a);
    const unsigned char* bytes = picture->GetData();
    EXPECT_EQ(transform->Transform(&b), picture);
    EXPECT_EQ(picture->GetData(), bytes);
    EXPECT_EQ(picture->m_nTimestamp, 2);
    EXPECT_EQ(BytesOf(*transform, *picture),
              ScaleLikeFfmpeg(CSP_RGB24, {64, 48}, second.data(), CSP_YUV420P, {32, 32}));
}

TEST_F(SoftwareTransform, AFrameCostsNoAllocation) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_YUV420P, {641, 361}), 6);
    HostFrame frame(source.data());
    const CVideoTransformBase::CROP_RECT whole{0, 0, 641, 361};
    const CVideoTransformBase::CROP_RECT part{3, 5, 100, 100};
    for (const CVideoTransformBase::CROP_RECT& crop : {whole, part}) {
        for (const Dimensions out : {Dimensions{100, 100}, Dimensions{320, 240}}) {
            const auto transform = NewTransform(CSP_YUV420P, {641, 361}, crop, CSP_YUV420P, out);
            transform->Transform(&frame);
            AllocationCounter allocations;
            ASSERT_NE(transform->Transform(&frame), nullptr);
            EXPECT_EQ(allocations.count, 0);
        }
    }
}

TEST_F(SoftwareTransform, NothingToDoIsNoPicture) {
    const auto transform = NewTransform(CSP_RGB24, {64, 48}, CSP_RGB24, {64, 48});
    m_Log.Take();
    ASSERT_NE(transform, nullptr);
    EXPECT_EQ(transform->GetOutFrameLength(), 0);
    HostFrame frame(nullptr, 9);
    EXPECT_EQ(transform->Transform(&frame), nullptr);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

// Whatever its place: such a part has nothing cut off.
TEST_F(SoftwareTransform, APartAsLargeAsThePictureIsNone) {
    EXPECT_EQ(NewTransform(CSP_RGB24, {64, 48}, {5, 7, 64, 48}, CSP_RGB24, {64, 48})->GetOutFrameLength(), 0);
    std::vector<uint8_t> source = Noise(TightSize(CSP_RGB24, {64, 48}), 7);
    EXPECT_EQ(Run(*NewTransform(CSP_RGB24, {64, 48}, {5, 7, 64, 48}, CSP_BGRA, {64, 48}), source),
              ScaleLikeFfmpeg(CSP_RGB24, {64, 48}, source.data(), CSP_BGRA, {64, 48}));
    EXPECT_EQ(Run(*NewTransform(CSP_RGB24, {64, 48}, {-9, -9, 80, 70}, CSP_BGRA, {64, 48}), source),
              ScaleLikeFfmpeg(CSP_RGB24, {64, 48}, source.data(), CSP_BGRA, {64, 48}));
}

TEST_F(SoftwareTransform, APartWithoutPixelsIsNone) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_RGB24, {64, 48}), 7);
    for (const CVideoTransformBase::CROP_RECT part :
         {CVideoTransformBase::CROP_RECT{5, 7, 0, 0}, {5, 7, 0, 9}, {5, 7, 9, 0}, {32, 24, -8, 0}, {32, 24, 0, -8}}) {
        EXPECT_EQ(Run(*NewTransform(CSP_RGB24, {64, 48}, part, CSP_RGB24, {64, 48}), source), source);
    }
}

TEST_F(SoftwareTransform, APartIsScaledWhereOneSideAloneIsTheOutputs) {
    const Dimensions size{64, 48};
    const CVideoTransformBase::CROP_RECT part{9, 5, 33, 25};
    for (const unsigned int colorSpace : {CSP_YUV420P, CSP_YUYV422, CSP_RGB24}) {
        std::vector<uint8_t> source = Noise(TightSize(colorSpace, size), 7);
        const std::vector<uint8_t> cropped =
            WithWholeChroma(colorSpace, {33, 25}, CropSlowly(colorSpace, size, part, source));
        for (const Dimensions out : {Dimensions{33, 40}, Dimensions{40, 25}}) {
            EXPECT_EQ(Run(*NewTransform(colorSpace, size, part, colorSpace, out), source),
                      ScaleLikeFfmpeg(colorSpace, {33, 25}, cropped.data(), colorSpace, out));
        }
    }
}

TEST_F(SoftwareTransform, APartThatIsTurnedRoundIsScaledFromZeros) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_RGB24, {64, 48}), 7);
    const std::vector<uint8_t> black(source.size());
    const std::vector<uint8_t> scaled = ScaleLikeFfmpeg(CSP_RGB24, {64, 48}, black.data(), CSP_YUV420P, {40, 30});
    for (const CVideoTransformBase::CROP_RECT part :
         {CVideoTransformBase::CROP_RECT{32, 24, -8, -8}, {32, 24, -8, 8}, {32, 24, 8, -8}}) {
        EXPECT_EQ(Run(*NewTransform(CSP_RGB24, {64, 48}, part, CSP_YUV420P, {40, 30}), source), scaled);
    }
    const auto alone = NewTransform(CSP_RGB24, {64, 48}, {8, 8, -8, -8}, CSP_RGB24, {-8, -8});
    EXPECT_EQ(alone->GetOutFrameLength(), 0);
    HostFrame frame(source.data());
    EXPECT_NE(alone->Transform(&frame), nullptr);
}

TEST_F(SoftwareTransform, TheLengthOfTheOutputIsTold) {
    const auto lengthTo = [](unsigned int colorSpace, int width, int height) {
        return NewTransform(CSP_RGB24, {64, 48}, colorSpace, {width, height})->GetOutFrameLength();
    };
    EXPECT_EQ(lengthTo(CSP_YUV420P, 640, 480), 460800);
    EXPECT_EQ(lengthTo(CSP_YUV420P_ALT, 640, 480), 460800);
    EXPECT_EQ(lengthTo(CSP_YUV420P, 33, 17), 33 * 17 + 2 * 17 * 9);
    EXPECT_EQ(lengthTo(CSP_YUYV422, 640, 480), 614400);
    EXPECT_EQ(lengthTo(CSP_BGR24, 640, 480), 921600);
    EXPECT_EQ(lengthTo(CSP_BGRA, 640, 480), 1228800);
    EXPECT_EQ(lengthTo(CSP_NV12, 640, 480), 460800);
}

// --- Requests that cannot be met.

TEST_F(SoftwareTransform, AColourSpaceThatIsNoneIsAFailureOnEitherSide) {
    for (const unsigned int none : {0U, 3U, 128U, 0xffffffffU}) {
        ExpectFailureOfNew(none, {64, 48}, CSP_RGB24, {64, 48});
        ExpectFailureOfNew(CSP_RGB24, {64, 48}, none, {64, 48});
        ExpectFailureOfNew(none, {64, 48}, none, {32, 32});
    }
    ExpectFailureOfNew(3, {64, 48}, 128, {64, 48});
}

TEST_F(SoftwareTransform, AColourSpaceThatIsNoneHasNoOutputWhereNoScalerIsAsked) {
    EXPECT_THROW(NewTransform(3, {64, 48}, 3, {64, 48}), std::length_error);
    EXPECT_THROW(NewTransform(3, {64, 0}, 3, {64, 0}), std::length_error);
    EXPECT_EQ(NewTransform(CSP_RGB24, {64, 0}, CSP_RGB24, {64, 0})->GetOutFrameLength(), 0);
    CVideoTransformBase::ZOOM_RECT zoom{0, 0, 50, 50};
    EXPECT_THROW(CVideoTransformBase::New(3, 64, 48, &zoom, 3, 32, 24), std::length_error);
}

TEST_F(SoftwareTransform, ShapesThatTheScalerDoesNotOfferAreAFailure) {
    ExpectFailureOfNew(CSP_YUV420P, {8, 4096}, CSP_RGB24, {4096, 8});
    ExpectFailureOfNew(CSP_RGB24, {0, 0}, CSP_RGB24, {64, 64});
    ExpectFailureOfNew(CSP_RGB24, {-64, 64}, CSP_RGB24, {64, 64});
    ExpectFailureOfNew(CSP_RGB24, {64, 64}, CSP_RGB24, {0, 64});
}

TEST_F(SoftwareTransform, APictureTooLargeToPointIntoFailsFrameByFrame) {
    for (const int width : {16384, 16385}) {
        const auto transform = NewTransform(CSP_BGRA, {width, 60000}, CSP_BGRA, {4096, 4096});
        ASSERT_NE(transform, nullptr);
        m_Log.Take();
        HostFrame frame(nullptr, 77);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(transform->Transform(&frame), nullptr);
            EXPECT_THAT(
                m_Log.Take(),
                ElementsAre(Ffmpeg(Severity::Error, "CFfmpegVideoTransform::Transform: fill src pointers failed")));
        }
    }
}

// FFmpeg counts the bytes of a picture in an int, those between its rows included.
TEST_F(SoftwareTransform, APictureTooLargeForItsPaddingFailsFrameByFrame) {
    const auto transform = NewTransform(CSP_BGRA, {8947, 60000}, CSP_BGRA, {640, 4096});
    ASSERT_NE(transform, nullptr);
    m_Log.Take();
    unsigned char byte = 0;
    HostFrame frame(&byte, 77);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(transform->Transform(&frame), nullptr);
        EXPECT_THAT(m_Log.Take(), ElementsAre(kScaleFailed));
    }
}

TEST_F(SoftwareTransform, ATargetTooLargeToPointIntoHasNoOutput) {
    EXPECT_THROW(NewTransform(CSP_BGRA, {4096, 4096}, CSP_BGRA, {16384, 60000}), std::length_error);
}

// The object remembers sizes in 16 bits.
TEST_F(SoftwareTransform, AHeightThatIsNotRememberedFailsFrameByFrame) {
    const Dimensions usual{16, 48};
    for (const int height : {65536, 65536 + 8, 70000}) {
        for (const bool in : {true, false}) {
            const Dimensions high{16, height};
            const auto transform = NewTransform(CSP_RGB24, in ? high : usual, CSP_BGR24, in ? usual : high);
            ASSERT_NE(transform, nullptr);
            m_Log.Take();
            HostFrame frame(nullptr);
            EXPECT_EQ(transform->Transform(&frame), nullptr);
            EXPECT_THAT(m_Log.Take(), ElementsAre(kScaleFailed));
        }
    }
}

TEST_F(SoftwareTransform, AWidthThatIsNotRememberedIsScaledAllTheSame) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_RGB24, {70000, 9}), 8);
    EXPECT_EQ(Run(*NewTransform(CSP_RGB24, {70000, 9}, CSP_BGR24, {70000, 9}), source),
              ScaleLikeFfmpeg(CSP_RGB24, {70000, 9}, source.data(), CSP_BGR24, {70000, 9}));
    std::vector<uint8_t> narrow = Noise(TightSize(CSP_RGB24, {4000, 9}), 8);
    const auto widening = NewTransform(CSP_RGB24, {4000, 9}, CSP_RGB24, {65536 + 64, 9});
    EXPECT_EQ(Run(*widening, narrow), ScaleLikeFfmpeg(CSP_RGB24, {4000, 9}, narrow.data(), CSP_RGB24, {65536 + 64, 9}));
    HostFrame frame(narrow.data());
    EXPECT_EQ(widening->Transform(&frame)->m_nWidth, 64U);
}

TEST_F(SoftwareTransform, AHighCropWritesInsideItsPicture) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_RGB24, {10, 70000}), 9);
    const auto transform = NewTransform(CSP_RGB24, {10, 70000}, {0, 1, 10, 69999}, CSP_RGB24, {10, 69999});
    EXPECT_EQ(Run(*transform, source), std::vector<uint8_t>(source.begin() + 30, source.end()));
}

TEST_F(SoftwareTransform, ResizingWithoutAScalerFails) {
    const auto transform = NewTransform(CSP_RGB24, {64, 48}, CSP_RGB24, {64, 48});
    std::vector<uint8_t> bytes(64 * 48 * 3);
    m_Log.Take();
    EXPECT_FALSE(transform->Resize(bytes.data(), bytes.data()));
    EXPECT_THAT(m_Log.Take(), ElementsAre(kScaleFailed));
}

// libswscale has a word of its own on it, and no rows.
TEST_F(SoftwareTransform, AFrameWithoutBytesLeavesThePictureAsItWas) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_RGB24, {64, 48}), 12);
    for (const Dimensions out : {Dimensions{64, 48}, Dimensions{33, 33}}) {
        const auto transform = NewTransform(CSP_RGB24, {64, 48}, CSP_YUV420P, out);
        const std::vector<uint8_t> before = Run(*transform, source);
        m_Log.Take();
        HostFrame nothing(nullptr, 3);
        CFrameBufferBase* picture = transform->Transform(&nothing);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->m_nTimestamp, 3);
        EXPECT_EQ(BytesOf(*transform, *picture), before);
        EXPECT_THAT(m_Log.Take(), IsEmpty());
    }
}

// --- Colour spaces that have no crop.

TEST_F(SoftwareTransform, NV12IsNeverCropped) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_NV12, {64, 48}), 10);
    const CVideoTransformBase::CROP_RECT part{8, 8, 32, 24};
    EXPECT_EQ(Run(*NewTransform(CSP_NV12, {64, 48}, part, CSP_RGB24, {40, 30}), source),
              ScaleLikeFfmpeg(CSP_NV12, {64, 48}, source.data(), CSP_RGB24, {40, 30}));
    const auto withoutScaler = NewTransform(CSP_NV12, {64, 48}, part, CSP_NV12, {32, 24});
    EXPECT_EQ(withoutScaler->GetOutFrameLength(), 0);
    HostFrame frame(source.data());
    EXPECT_EQ(withoutScaler->Transform(&frame), nullptr);
}

TEST_F(SoftwareTransform, CroppingBGRAEndsTheProcess) {
    std::vector<uint8_t> source(TightSize(CSP_BGRA, {64, 48}));
    HostFrame frame(source.data());
    const CVideoTransformBase::CROP_RECT part{8, 8, 32, 24};
    const auto alone = NewTransform(CSP_BGRA, {64, 48}, part, CSP_BGRA, {32, 24});
    EXPECT_EQ(alone->GetOutFrameLength(), 32 * 24 * 4);
    EXPECT_EXIT(alone->Transform(&frame), testing::KilledBySignal(SIGABRT), "");
    const auto scaled = NewTransform(CSP_BGRA, {64, 48}, part, CSP_RGB24, {40, 30});
    EXPECT_EXIT(scaled->Transform(&frame), testing::KilledBySignal(SIGABRT), "");
}

// --- Threads.

TEST_F(SoftwareTransform, TransformsOfTwoThreadsAreIndependent) {
    std::vector<uint8_t> source = Noise(TightSize(CSP_YUV420P, {64, 48}), 11);
    const std::vector<uint8_t> expected = ScaleLikeFfmpeg(CSP_YUV420P, {64, 48}, source.data(), CSP_RGB24, {48, 33});
    const auto work = [&source, &expected] {
        for (int i = 0; i < 50; ++i) {
            const auto transform = NewTransform(CSP_YUV420P, {64, 48}, CSP_RGB24, {48, 33});
            HostFrame frame(source.data());
            CFrameBufferBase* picture = transform->Transform(&frame);
            ASSERT_NE(picture, nullptr);
            ASSERT_EQ(BytesOf(*transform, *picture), expected);
        }
    };
    std::thread other(work);
    work();
    other.join();
}

}  // namespace
