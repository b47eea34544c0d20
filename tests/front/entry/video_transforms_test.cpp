#include <gtest/gtest.h>

#include <vector>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "common/log_capture.h"
#include "transform/ffmpeg_video_transform.h"
#include "transform/video_transform_dummy.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

class Picture : public CFrameBufferBase {
public:
    Picture(std::size_t size, unsigned char value) : m_Bytes(size, value) { m_nTimestamp = 42; }
    unsigned char* GetData() override { return m_Bytes.data(); }
    const unsigned char* GetConstData() override { return m_Bytes.data(); }

private:
    std::vector<unsigned char> m_Bytes;
};

LoggedLine SoftwareTransformLine(const std::string& sides) {
    return Ffmpeg(Severity::Info, "CFfmpegVideoTransform::New: creating new software transform: " + sides);
}

class VideoTransformFactories : public testing::Test {
protected:
    void SetUp() override { SetFfmpegLogLevel("quiet"); }

    LogCapture m_Log;
};

TEST_F(VideoTransformFactories, AnswerARequestThatChangesNothingWithTheDummy) {
    const auto transform = Codrelay_VideoTransform(CSP_BGRA, 64, 48, nullptr, CSP_BGRA, 64, 48);
    EXPECT_NE(dynamic_cast<CVideoTransformDummy*>(transform.get()), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "Creating dummy transform")));
}

TEST_F(VideoTransformFactories, AnswerOtherRequestsWithTheSoftwareTransform) {
    CVideoTransformBase::ZOOM_RECT zoom{50, 50, 100, 100};
    const auto transform = Codrelay_VideoTransform(CSP_RGB24, 64, 48, &zoom, CSP_BGR24, 32, 24);
    ASSERT_NE(dynamic_cast<CFfmpegVideoTransform*>(transform.get()), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "Creating ffmpeg transform"),
                                          SoftwareTransformLine("in: w=64,h=48,csp=16 | out: w=32,h=24,csp=8")));
    Picture picture(64 * 48 * 3, 200);
    CFrameBufferBase* part = transform->Transform(&picture);
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(part->m_nTimestamp, 42);
    EXPECT_EQ(part->GetColorSpace(), CSP_BGR24);
    EXPECT_EQ(std::vector<unsigned char>(part->GetData(), part->GetData() + 32 * 24 * 3),
              std::vector<unsigned char>(32 * 24 * 3, 200));
}

TEST_F(VideoTransformFactories, RefuseWhatTheFrontRefuses) {
    EXPECT_EQ(Codrelay_VideoTransform(CSP_RGB24, 64, 48, nullptr, CSP_RGB24, 64, 7), nullptr);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Codrelay(Severity::Error, "CVideoTransformBase::Create: wrong nRequestHeight = 7"),
                            Codrelay(Severity::Trace, "CheckSize failed")));
    CVideoTransformBase::ZOOM_RECT zoom{0, 75, 100, 100};
    EXPECT_EQ(Codrelay_VideoTransform(CSP_RGB24, 640, 480, &zoom, CSP_RGB24, 64, 48), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Critical,
                                                   "CVideoTransformBase::New: invalid zoom dimensions: { x: 0, y: 360, "
                                                   "w: 640, h: 480 }")));
}

TEST_F(VideoTransformFactories, HandAFailureOfTheSoftwareTransformOn) {
    EXPECT_EQ(Codrelay_VideoTransform(CSP_RGB24, 0, 0, nullptr, CSP_RGB24, 64, 48), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "Creating ffmpeg transform"),
                                          SoftwareTransformLine("in: w=0,h=0,csp=16 | out: w=64,h=48,csp=16"),
                                          Ffmpeg(Severity::Critical, "CFfmpegVideoTransform::New: failed")));
}

TEST_F(VideoTransformFactories, CheckSizes) {
    EXPECT_TRUE(Codrelay_VideoTransformCheckSize(8, 4096));
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_FALSE(Codrelay_VideoTransformCheckSize(4097, 7));
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Codrelay(Severity::Error, "CVideoTransformBase::Create: wrong nRequestWidth = 4097")));
}

// Without the front's questions: neither is the size looked at, nor does a request that changes nothing get the dummy.
TEST_F(VideoTransformFactories, OfTheFfmpegLayerBuildTheSoftwareTransformAtOnce) {
    CVideoTransformBase::CROP_RECT whole{0, 0, 4, 4};
    const auto transform = NewFFmpegVideoTransform(CSP_RGB24, 4, 4, whole, CSP_RGB24, 4, 4);
    ASSERT_NE(dynamic_cast<CFfmpegVideoTransform*>(transform.get()), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(SoftwareTransformLine("in: w=4,h=4,csp=16 | out: w=4,h=4,csp=16")));
    Picture picture(4 * 4 * 3, 1);
    EXPECT_EQ(transform->Transform(&picture), nullptr);
}

}  // namespace
