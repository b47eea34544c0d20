#include "codrelay/video_transform.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "common/log_capture.h"
#include "transform/pictures.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;
using Zoom = CVideoTransformBase::ZOOM_RECT;

namespace {

LoggedLine Invalid(const std::string& rectangle) {
    return Codrelay(Severity::Critical, "CVideoTransformBase::New: invalid zoom dimensions: " + rectangle);
}

LoggedLine WrongWidth(const std::string& width) {
    return Codrelay(Severity::Error, "CVideoTransformBase::Create: wrong nRequestWidth = " + width);
}

LoggedLine WrongHeight(const std::string& height) {
    return Codrelay(Severity::Error, "CVideoTransformBase::Create: wrong nRequestHeight = " + height);
}

class VideoTransform : public testing::Test {
protected:
    /// RGB24 to RGB24: of a change of size, or of none, only the part decides.
    std::shared_ptr<CVideoTransformBase> New(Dimensions in, Zoom zoom, Dimensions out) {
        return CVideoTransformBase::New(CSP_RGB24, in.width, in.height, &zoom, CSP_RGB24, out.width, out.height);
    }

    void ExpectDummy(Dimensions size, Zoom* zoom) {
        const auto transform =
            CVideoTransformBase::New(CSP_RGB24, size.width, size.height, zoom, CSP_RGB24, size.width, size.height);
        EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "Creating dummy transform")));
        ASSERT_NE(transform, nullptr);
        HostFrame frame(nullptr, 5);
        EXPECT_EQ(transform->Transform(&frame), &frame);
        EXPECT_EQ(frame.m_nTimestamp, 5);
        EXPECT_EQ(transform->GetSupportedColorSpaces(), 27U);
        EXPECT_THAT(m_Log.Take(), IsEmpty());
    }

    /// The part of a 640x480 picture that is cut out, known by the pixels of its first and last corner.
    void ExpectPart(Zoom zoom, CVideoTransformBase::CROP_RECT part) {
        std::vector<uint8_t> source(640 * 480 * 3);
        const auto pixel = [&source](int x, int y) { return &source[static_cast<std::size_t>(y * 640 + x) * 3]; };
        pixel(part.x, part.y)[0] = 1;
        pixel(part.x + part.w - 1, part.y + part.h - 1)[2] = 2;
        const auto transform = New({640, 480}, zoom, {part.w, part.h});
        ASSERT_NE(transform, nullptr);
        EXPECT_EQ(m_Log.Take().front(), Codrelay(Severity::Trace, "Creating ffmpeg transform"));
        HostFrame frame(source.data());
        CFrameBufferBase* picture = transform->Transform(&frame);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->GetData()[0], 1);
        EXPECT_EQ(picture->GetData()[part.w * part.h * 3 - 1], 2);
    }

    LogCapture m_Log;
};

TEST_F(VideoTransform, SizesFrom8To4096AreAllowed) {
    EXPECT_TRUE(CVideoTransformBase::CheckSize(8, 8));
    EXPECT_TRUE(CVideoTransformBase::CheckSize(4096, 4096));
    EXPECT_TRUE(CVideoTransformBase::CheckSize(8, 4096));
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(VideoTransform, OtherSizesAreRefusedInEitherPosition) {
    for (const int size : {7, 4097, 0, -8, -2147483647 - 1, 2147483647}) {
        EXPECT_FALSE(CVideoTransformBase::CheckSize(size, 8));
        EXPECT_THAT(m_Log.Take(), ElementsAre(WrongWidth(std::to_string(size))));
        EXPECT_FALSE(CVideoTransformBase::CheckSize(4096, size));
        EXPECT_THAT(m_Log.Take(), ElementsAre(WrongHeight(std::to_string(size))));
    }
}

TEST_F(VideoTransform, ABadHeightIsNotLookedAtBesideABadWidth) {
    EXPECT_FALSE(CVideoTransformBase::CheckSize(7, 4097));
    EXPECT_THAT(m_Log.Take(), ElementsAre(WrongWidth("7")));
}

TEST_F(VideoTransform, AForbiddenOutputSizeIsToldQuietlyAfterItsReason) {
    const LoggedLine failed = Codrelay(Severity::Trace, "CheckSize failed");
    EXPECT_EQ(CVideoTransformBase::New(CSP_RGB24, 64, 64, nullptr, CSP_RGB24, 7, 64), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(WrongWidth("7"), failed));
    EXPECT_EQ(CVideoTransformBase::New(CSP_RGB24, 64, 64, nullptr, CSP_RGB24, 64, 4097), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(WrongHeight("4097"), failed));
}

TEST_F(VideoTransform, TheInputSizeIsNotLimited) {
    EXPECT_NE(CVideoTransformBase::New(CSP_RGB24, 10000, 10000, nullptr, CSP_RGB24, 640, 640), nullptr);
    EXPECT_NE(CVideoTransformBase::New(CSP_RGB24, 1, 1, nullptr, CSP_RGB24, 8, 8), nullptr);
}

TEST_F(VideoTransform, ARequestThatChangesNothingHandsTheFrameBack) {
    Zoom whole{0, 0, 100, 100};
    Zoom wider{-1, 3, 99, 103};
    // The height follows from the width: nothing is cut off.
    Zoom upperHalf{0, 0, 100, 50};
    for (Zoom* zoom : {static_cast<Zoom*>(nullptr), &whole, &wider, &upperHalf}) {
        ExpectDummy({640, 480}, zoom);
    }
}

TEST_F(VideoTransform, AnyChangeAsksForTheSoftwareTransform) {
    Zoom mostOfIt{0, 0, 99, 100};
    const auto expectSoftware = [this](unsigned int from, Dimensions in, Zoom* zoom, unsigned int to, Dimensions out) {
        EXPECT_NE(CVideoTransformBase::New(from, in.width, in.height, zoom, to, out.width, out.height), nullptr);
        EXPECT_EQ(m_Log.Take().front(), Codrelay(Severity::Trace, "Creating ffmpeg transform"));
    };
    expectSoftware(CSP_RGB24, {640, 480}, nullptr, CSP_BGR24, {640, 480});
    expectSoftware(CSP_YUV420P, {640, 480}, nullptr, CSP_YUV420P_ALT, {640, 480});
    expectSoftware(CSP_RGB24, {640, 480}, nullptr, CSP_RGB24, {642, 480});
    expectSoftware(CSP_RGB24, {640, 480}, nullptr, CSP_RGB24, {640, 482});
    expectSoftware(CSP_RGB24, {640, 480}, &mostOfIt, CSP_RGB24, {640, 480});
}

TEST_F(VideoTransform, TheHostsPartBecomesPixels) {
    ExpectPart({50, 50, 100, 100}, {320, 240, 320, 240});
    ExpectPart({60, 60, 100, 100}, {384, 288, 256, 192});
    ExpectPart({0, 0, 99, 100}, {0, 0, 633, 474});
    // The bottom edge is only asked whether all of the picture is meant.
    ExpectPart({50, 50, 100, -7}, {320, 240, 320, 240});
    ExpectPart({1, 1, 100, 100}, {6, 4, 634, 475});
}

TEST_F(VideoTransform, APartBeyondThePictureIsRefused) {
    EXPECT_EQ(New({640, 480}, {0, 75, 100, 100}, {640, 480}), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Invalid("{ x: 0, y: 360, w: 640, h: 480 }")));
    EXPECT_EQ(New({640, 480}, {50, 0, 101, 50}, {640, 480}), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Invalid("{ x: 320, y: 0, w: 326, h: 244 }")));
}

TEST_F(VideoTransform, SpansAbove99PercentBothWaysAreTheWholePictureWhereverTheyLie) {
    Zoom moved{10, 0, 110, 100};
    ExpectDummy({640, 480}, &moved);
    EXPECT_EQ(New({640, 480}, {10, 0, 110, 99}, {640, 480}), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Invalid("{ x: 64, y: 0, w: 640, h: 480 }")));
    EXPECT_EQ(New({640, 480}, {10, 0, 109, 100}, {640, 480}), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Invalid("{ x: 64, y: 0, w: 633, h: 474 }")));
}

TEST_F(VideoTransform, APartOfAPictureWithoutWidthIsRefused) {
    EXPECT_EQ(New({0, 480}, {0, 50, 50, 100}, {64, 64}), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Invalid("{ x: 0, y: 240, w: 0, h: 0 }")));
}

TEST_F(VideoTransform, AllOfAPictureWithoutWidthIsTheScalersToRefuse) {
    Zoom whole{0, 0, 100, 100};
    for (Zoom* zoom : {static_cast<Zoom*>(nullptr), &whole}) {
        EXPECT_EQ(CVideoTransformBase::New(CSP_RGB24, 0, 480, zoom, CSP_RGB24, 64, 64), nullptr);
        EXPECT_EQ(m_Log.Take().back(), Ffmpeg(Severity::Critical, "CFfmpegVideoTransform::New: failed"));
    }
}

TEST_F(VideoTransform, LargeProductsAreTakenInFullAndThenCut) {
    EXPECT_EQ(New({60000000, 8}, {60, 99, 100, 100}, {64, 64}), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Invalid("{ x: 36000000, y: 7, w: 24000000, h: 3 }")));
    EXPECT_EQ(New({1000000, 8}, {0, 0, 1000000, 50}, {64, 64}), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Invalid("{ x: 0, y: 0, w: 1410065408, h: 11280 }")));
}

TEST_F(VideoTransform, EdgesAtTheEndsOfTheNumbersAreHarmless) {
    constexpr int kLeast = -2147483647 - 1;
    constexpr int kMost = 2147483647;
    for (const int left : {kLeast, 0, kMost}) {
        for (const int right : {kLeast, 0, kMost}) {
            EXPECT_NO_THROW(New({100, 100}, {left, 0, right, 0}, {64, 64}));
            EXPECT_NO_THROW(New({1, 1}, {left, left, right, right}, {64, 64}));
        }
    }
}

// An edge left of the picture passes the tests; what is not there is zero.
TEST_F(VideoTransform, APartThatBeginsOutsideThePictureIsFilledUpWithZeros) {
    std::vector<uint8_t> source(100 * 100 * 3, 7);
    const auto transform = New({100, 100}, {-10, -10, 50, 50}, {60, 60});
    ASSERT_NE(transform, nullptr);
    HostFrame frame(source.data());
    CFrameBufferBase* picture = transform->Transform(&frame);
    ASSERT_NE(picture, nullptr);
    for (int y = 0; y < 60; ++y) {
        for (int i = 0; i < 60 * 3; ++i) {
            ASSERT_EQ(picture->GetData()[y * 60 * 3 + i], y < 10 || i < 30 ? 0 : 7) << i << ", " << y;
        }
    }
}

TEST_F(VideoTransform, APartWithoutWidthIsTheWholePicture) {
    std::vector<uint8_t> source = Noise(100 * 100 * 3, 1);
    const auto transform = New({100, 100}, {50, 50, 50, 60}, {64, 64});
    ASSERT_NE(transform, nullptr);
    HostFrame frame(source.data());
    CFrameBufferBase* picture = transform->Transform(&frame);
    ASSERT_NE(picture, nullptr);
    const std::vector<uint8_t> expected = ScaleLikeFfmpeg(CSP_RGB24, {100, 100}, source.data(), CSP_RGB24, {64, 64});
    EXPECT_EQ(std::vector<uint8_t>(picture->GetData(), picture->GetData() + expected.size()), expected);
}

// Its rows are none, so nothing is cut out.
TEST_F(VideoTransform, APartThatIsTurnedRoundIsAPictureOfZeros) {
    std::vector<uint8_t> source = Noise(100 * 100 * 3, 1);
    for (const Zoom zoom : {Zoom{80, 0, 20, 100}, Zoom{0, 0, -10, 50}, Zoom{-10, -10, -20, -20}}) {
        const auto transform = New({100, 100}, zoom, {64, 48});
        ASSERT_NE(transform, nullptr);
        HostFrame frame(source.data());
        CFrameBufferBase* picture = transform->Transform(&frame);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(std::count(picture->GetData(), picture->GetData() + 64 * 48 * 3, 0), 64 * 48 * 3);
    }
}

}  // namespace
