// A thousand requests of any kind: each gives a picture of the right size, id and timestamp, or is refused with its
// line; and no byte outside a buffer is touched.
#include <gmock/gmock.h>

#include <cstring>
#include <optional>
#include <random>

#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "transform/pictures.h"
#include "transform/slow_crop.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

constexpr unsigned int kSeed = 20210;

struct Request {
    unsigned int from;
    Dimensions in;
    std::optional<CVideoTransformBase::ZOOM_RECT> zoom;
    unsigned int to;
    Dimensions out;
};

class Requests {
public:
    Request Next() {
        Request request{ColorSpace(), Size(), std::nullopt, ColorSpace(), Size()};
        if (Below(3) == 0) {
            request.to = request.from;
        }
        if (Below(3) != 0) {
            request.zoom = {Percent(), Percent(), 40 + Percent(), 40 + Percent()};
        }
        if (Below(5) == 0) {
            request.out = request.in;
        } else if (request.zoom && Below(2) == 0) {
            const CVideoTransformBase::CROP_RECT part = PartOf(request);
            request.out = {std::max(part.w, 8), std::max(part.h, 8)};
        }
        return request;
    }

    static CVideoTransformBase::CROP_RECT PartOf(const Request& request) {
        const auto [width, height] = request.in;
        if (!request.zoom ||
            (request.zoom->right - request.zoom->left > 99 && request.zoom->bottom - request.zoom->top > 99)) {
            return {0, 0, width, height};
        }
        const int x = request.zoom->left * width / 100;
        const int w = request.zoom->right * width / 100 - x;
        return {x, request.zoom->top * height / 100, w, w * height / width};
    }

private:
    int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }
    unsigned int ColorSpace() { return 1U << Below(7); }
    Dimensions Size() { return {8 + Below(505), 8 + Below(505)}; }
    int Percent() { return Below(4) == 0 ? Below(120) - 30 : Below(50); }

    std::mt19937 m_Random{kSeed};
};

enum class Outcome { kRefused, kFrameItself, kAbort, kNothing, kPicture };

class RandomRequest : public testing::Test {
protected:
    RandomRequest() : m_Source(std::size_t{512} * 512 * 4) { av_log_set_level(AV_LOG_QUIET); }

    static bool HasCrop(const Request& request, const CVideoTransformBase::CROP_RECT& part) {
        return (part.w < request.in.width || part.h < request.in.height) && part.w != 0 && part.h != 0 &&
               request.from != CSP_NV12;
    }

    static Outcome Expected(const Request& request) {
        const CVideoTransformBase::CROP_RECT part = Requests::PartOf(request);
        if (part.x + part.w > request.in.width || part.y + part.h > request.in.height) {
            return Outcome::kRefused;
        }
        const bool samePart = part.w == request.out.width && part.h == request.out.height;
        const bool whole = part.w == request.in.width && part.h == request.in.height;
        const bool crop = HasCrop(request, part);
        if (request.from == request.to && samePart && whole) {
            return Outcome::kFrameItself;
        }
        if (crop && request.from == CSP_BGRA) {
            return Outcome::kAbort;
        }
        return request.from == request.to && samePart && !crop ? Outcome::kNothing : Outcome::kPicture;
    }

    std::shared_ptr<CVideoTransformBase> New(const Request& request) {
        CVideoTransformBase::ZOOM_RECT zoom = request.zoom.value_or(CVideoTransformBase::ZOOM_RECT{});
        return CVideoTransformBase::New(request.from, request.in.width, request.in.height,
                                        request.zoom ? &zoom : nullptr, request.to, request.out.width,
                                        request.out.height);
    }

    void ExpectRefusal(const Request& request, const CVideoTransformBase* transform) {
        const CVideoTransformBase::CROP_RECT part = Requests::PartOf(request);
        EXPECT_EQ(transform, nullptr);
        EXPECT_THAT(
            m_Log.Take(),
            ElementsAre(Codrelay(Severity::Critical,
                                 "CVideoTransformBase::New: invalid zoom dimensions: { x: " + std::to_string(part.x) +
                                     ", y: " + std::to_string(part.y) + ", w: " + std::to_string(part.w) +
                                     ", h: " + std::to_string(part.h) + " }")));
    }

    void ExpectPicture(const Request& request, CVideoTransformBase& transform, CFrameBufferBase& frame) {
        CFrameBufferBase* picture = transform.Transform(&frame);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->m_nTimestamp, frame.m_nTimestamp);
        EXPECT_EQ(picture->GetColorSpace(), request.to);
        EXPECT_EQ(picture->m_nWidth, static_cast<unsigned int>(request.out.width));
        EXPECT_EQ(picture->m_nHeight, static_cast<unsigned int>(request.out.height));
        const std::vector<uint8_t> bytes = BytesOf(static_cast<CFfmpegVideoTransform&>(transform), *picture);
        const CVideoTransformBase::CROP_RECT part = Requests::PartOf(request);
        if (HasCrop(request, part)) {
            EXPECT_EQ(bytes, ExpectedPart(request, part, frame.GetData()));
        } else {
            EXPECT_EQ(bytes, ScaleLikeFfmpeg(request.from, request.in, frame.GetData(), request.to, request.out));
        }
    }

    /// The part, cut out and scaled in ways of the tests' own.
    static std::vector<uint8_t> ExpectedPart(const Request& request, const CVideoTransformBase::CROP_RECT& part,
                                             const uint8_t* bytes) {
        const std::vector<uint8_t> source(bytes, bytes + TightSize(request.from, request.in));
        const Dimensions size{part.w, part.h};
        if (part.w < 0 || part.h < 0) {
            const std::vector<uint8_t> zeros(source.size());
            return ScaleLikeFfmpeg(request.from, request.in, zeros.data(), request.to, request.out);
        }
        const std::vector<uint8_t> cropped = CropSlowly(request.from, request.in, part, source);
        if (request.from == request.to && part.w == request.out.width && part.h == request.out.height) {
            return cropped;
        }
        return ScaleLikeFfmpeg(request.from, size, WithWholeChroma(request.from, size, cropped).data(), request.to,
                               request.out);
    }

    void Expect(const Request& request, std::int64_t timestamp) {
        const std::size_t size = TightSize(request.from, request.in);
        HostFrame frame(m_Source.Last(size), timestamp);
        const std::shared_ptr<CVideoTransformBase> transform = New(request);
        const Outcome expected = Expected(request);
        ++m_Seen[static_cast<int>(expected)];
        if (expected == Outcome::kRefused) {
            return ExpectRefusal(request, transform.get());
        }
        EXPECT_THAT(m_Log.Take(), IsEmpty());
        ASSERT_NE(transform, nullptr);
        if (expected == Outcome::kFrameItself) {
            EXPECT_EQ(transform->Transform(&frame), &frame);
        } else if (expected == Outcome::kNothing) {
            EXPECT_EQ(transform->Transform(&frame), nullptr);
        } else if (expected == Outcome::kPicture) {
            ExpectPicture(request, *transform, frame);
        }
        EXPECT_THAT(m_Log.Take(), IsEmpty());
    }

    LogCapture m_Log{Severity::Warning};
    GuardedBuffer m_Source;
    int m_Seen[5] = {};
};

TEST_F(RandomRequest, GivesItsPictureOrIsRefusedWithItsLine) {
    const std::vector<uint8_t> noise = Noise(std::size_t{512} * 512 * 4, kSeed);
    std::memcpy(m_Source.Last(noise.size()), noise.data(), noise.size());
    Requests requests;
    for (int i = 0; i < 1000; ++i) {
        const Request request = requests.Next();
        Expect(request, i);
        ASSERT_FALSE(HasFailure()) << "seed " << kSeed << ", request " << i << ": " << request.from << " "
                                   << request.in.width << "x" << request.in.height << " to " << request.to << " "
                                   << request.out.width << "x" << request.out.height;
    }
    // The dice reach every outcome but the one that is too rare for them.
    EXPECT_GT(m_Seen[static_cast<int>(Outcome::kRefused)], 100);
    EXPECT_GT(m_Seen[static_cast<int>(Outcome::kFrameItself)], 5);
    EXPECT_GT(m_Seen[static_cast<int>(Outcome::kAbort)], 5);
    EXPECT_GT(m_Seen[static_cast<int>(Outcome::kPicture)], 500);
}

}  // namespace
