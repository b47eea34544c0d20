#include <gmock/gmock.h>

#include <cstring>
#include <random>

#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "transform/pictures.h"

using Rect = CVideoTransformBase::CROP_RECT;

namespace {

constexpr unsigned int kCropped[] = {CSP_YUV420P_ALT, CSP_YUV420P, CSP_YUYV422, CSP_BGR24, CSP_RGB24};

bool IsPlanar(unsigned int colorSpace) {
    return colorSpace == CSP_YUV420P || colorSpace == CSP_YUV420P_ALT;
}

/// The crop, byte by byte.
class SlowCrop {
public:
    SlowCrop(unsigned int colorSpace, Dimensions size, Rect part, const std::vector<uint8_t>& source)
        : m_Size(size), m_Part(part), m_Source(source) {
        m_Result.resize(TightSize(colorSpace, {part.w, part.h}));
        if (IsPlanar(colorSpace)) {
            CropPlanes();
        } else {
            const int pixelBytes = colorSpace == CSP_YUYV422 ? 2 : 3;
            for (int row = 0; row < part.h; ++row) {
                Copy(row * part.w * pixelBytes, ((part.y + row) * size.width + part.x) * pixelBytes,
                     part.w * pixelBytes);
            }
        }
    }

    const std::vector<uint8_t>& Result() const { return m_Result; }

private:
    void CropPlanes() {
        const int W = m_Size.width;
        const int L = W * m_Size.height;
        for (int row = 0; row < m_Part.h; ++row) {
            Copy(row * m_Part.w, (m_Part.y + row) * W + m_Part.x, m_Part.w);
        }
        const int chroma = m_Part.w * m_Part.h;
        const int offset = ((W >> 1) * m_Part.y) / 2;
        for (int row = 0; row < m_Part.h / 2; ++row) {
            const int from = L + offset + m_Part.x / 2 + row * (m_Part.x / 2 + (W - m_Part.x) / 2);
            Copy(chroma + row * (m_Part.w / 2), from, m_Part.w / 2);
            Copy(chroma + (chroma >> 2) + row * (m_Part.w / 2), from + (L >> 2), m_Part.w / 2);
        }
    }

    void Copy(int to, int from, int count) {
        for (int i = 0; i < count; ++i) {
            m_Result.at(static_cast<std::size_t>(to + i)) = m_Source.at(static_cast<std::size_t>(from + i));
        }
    }

    Dimensions m_Size;
    Rect m_Part;
    const std::vector<uint8_t>& m_Source;
    std::vector<uint8_t> m_Result;
};

class Crop : public testing::Test {
protected:
    Crop() : m_Buffer(std::size_t{1} << 22) {}

    /// A source that ends where memory does.
    unsigned char* Guarded(const std::vector<uint8_t>& source) {
        unsigned char* bytes = m_Buffer.Last(source.size());
        std::memcpy(bytes, source.data(), source.size());
        return bytes;
    }

    std::vector<uint8_t> Run(CFfmpegVideoTransform& transform, const std::vector<uint8_t>& source) {
        HostFrame frame(Guarded(source), 42);
        CFrameBufferBase* picture = transform.Transform(&frame);
        if (picture == nullptr) {
            return {};
        }
        EXPECT_EQ(picture->m_nTimestamp, 42);
        return BytesOf(transform, *picture);
    }

    void ExpectPart(unsigned int colorSpace, Dimensions size, Rect part) {
        const std::vector<uint8_t> source = Noise(TightSize(colorSpace, size), 1);
        const auto transform = NewTransform(colorSpace, size, part, colorSpace, {part.w, part.h});
        ASSERT_EQ(Run(*transform, source), SlowCrop(colorSpace, size, part, source).Result())
            << "colour space " << colorSpace << ", " << part.w << "x" << part.h << " at " << part.x << ", " << part.y
            << " of " << size.width << "x" << size.height;
    }

    void ExpectEveryPart(unsigned int colorSpace, Dimensions size) {
        for (int x = 0; x < size.width; ++x) {
            for (int w = 1; w <= size.width - x; ++w) {
                for (int y = 0; y < size.height; ++y) {
                    for (int h = 1; h <= size.height - y; ++h) {
                        if (w < size.width || h < size.height) {
                            ExpectPart(colorSpace, size, {x, y, w, h});
                            ASSERT_FALSE(HasFatalFailure());
                        }
                    }
                }
            }
        }
    }

    LogCapture m_Log{uvqlog::Severity::Critical};
    GuardedBuffer m_Buffer;
};

TEST_F(Crop, EveryPartOfSmallPicturesIsCutOutInsideItsBuffers) {
    for (const unsigned int colorSpace : kCropped) {
        for (const Dimensions size : {Dimensions{7, 7}, Dimensions{8, 7}, Dimensions{7, 8}, Dimensions{8, 8},
                                      Dimensions{1, 3}, Dimensions{2, 2}, Dimensions{9, 5}}) {
            ExpectEveryPart(colorSpace, size);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_F(Crop, PartsOfUsualPicturesAreCutOutInsideTheirBuffers) {
    std::mt19937 random(5);
    const auto below = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned int>(limit)); };
    for (int i = 0; i < 200; ++i) {
        const Dimensions size{16 + below(500), 16 + below(300)};
        const Rect corner{below(size.width), below(size.height), 0, 0};
        const Rect part{corner.x, corner.y, 1 + below(size.width - corner.x), 1 + below(size.height - corner.y)};
        ExpectPart(kCropped[static_cast<std::size_t>(i) % std::size(kCropped)], size, part);
        ASSERT_FALSE(HasFatalFailure()) << "round " << i;
    }
}

TEST_F(Crop, EvenPartsOf420AreThePlainRowsOfThePlanes) {
    const std::vector<uint8_t> source = Noise(TightSize(CSP_YUV420P, {16, 12}), 3);
    const auto transform = NewTransform(CSP_YUV420P, {16, 12}, {4, 2, 8, 6}, CSP_YUV420P, {8, 6});
    const std::vector<uint8_t> part = Run(*transform, source);
    ASSERT_EQ(part.size(), 8U * 6 * 3 / 2);
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            EXPECT_EQ(part[48 + row * 4 + column], source[192 + (1 + row) * 8 + 2 + column]);
            EXPECT_EQ(part[60 + row * 4 + column], source[240 + (1 + row) * 8 + 2 + column]);
        }
    }
}

TEST_F(Crop, TellsTheTrueSizeOfItsPicture) {
    const auto lengthOf = [](unsigned int colorSpace, int width, int height) {
        return NewTransform(colorSpace, {64, 48}, {1, 1, width, height}, colorSpace, {width, height})
            ->GetOutFrameLength();
    };
    EXPECT_EQ(lengthOf(CSP_YUV420P, 32, 24), 32 * 24 * 3 / 2);
    EXPECT_EQ(lengthOf(CSP_YUV420P, 31, 23), 31 * 23 + 2 * 16 * 12);
    EXPECT_EQ(lengthOf(CSP_YUYV422, 32, 24), 32 * 24 * 2);
    EXPECT_EQ(lengthOf(CSP_YUYV422, 31, 23), 31 * 23 * 2);
    EXPECT_EQ(lengthOf(CSP_BGR24, 31, 23), 31 * 23 * 3);
    EXPECT_EQ(lengthOf(CSP_RGB24, 31, 23), 31 * 23 * 3);
}

// What lies outside is zero, and the bytes there are not read.
TEST_F(Crop, PartsThatBeginOutsideThePictureHaveZerosThere) {
    const Dimensions size{16, 12};
    for (const unsigned int colorSpace : {CSP_RGB24, CSP_YUV420P}) {
        const std::vector<uint8_t> source(TightSize(colorSpace, size), 9);
        for (int x = -20; x <= 2; x += 2) {
            for (int y = -20; y <= 2; y += 2) {
                const auto transform = NewTransform(colorSpace, size, {x, y, 14, 10}, colorSpace, {14, 10});
                const std::vector<uint8_t> part = Run(*transform, source);
                for (int row = 0; row < 10; ++row) {
                    for (int column = 0; column < 14; ++column) {
                        const int expected = x + column >= 0 && y + row >= 0 ? 9 : 0;
                        const int pixel = row * 14 + column;
                        if (colorSpace == CSP_RGB24) {
                            ASSERT_EQ(part[static_cast<std::size_t>(pixel * 3)], expected);
                            ASSERT_EQ(part[static_cast<std::size_t>(pixel * 3 + 2)], expected);
                        } else {
                            const int sample = 140 + row / 2 * 7 + column / 2;
                            ASSERT_EQ(part[static_cast<std::size_t>(pixel)], expected);
                            ASSERT_EQ(part[static_cast<std::size_t>(sample)], expected) << x << ", " << y;
                            ASSERT_EQ(part[static_cast<std::size_t>(sample + 35)], expected) << x << ", " << y;
                        }
                    }
                }
            }
        }
    }
}

TEST_F(Crop, AnyPlaceOutsideThePictureStaysInsideTheBuffers) {
    const Dimensions size{9, 7};
    for (const unsigned int colorSpace : kCropped) {
        const std::vector<uint8_t> source = Noise(TightSize(colorSpace, size), 4);
        for (int x = -30; x <= 30; ++x) {
            for (int y = -30; y <= 30; ++y) {
                const auto transform = NewTransform(colorSpace, size, {x, y, 5, 6}, colorSpace, {5, 6});
                ASSERT_FALSE(Run(*transform, source).empty());
            }
        }
        for (const int far : {-2147483647 - 1, 2147483647}) {
            const auto transform = NewTransform(colorSpace, size, {far, far, 5, 6}, colorSpace, {5, 6});
            EXPECT_THAT(Run(*transform, source), testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(0)));
        }
    }
}

TEST_F(Crop, ScalingAPartIsCroppingAndThenScaling) {
    std::mt19937 random(6);
    const auto below = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned int>(limit)); };
    for (int i = 0; i < 400; ++i) {
        const unsigned int from = kCropped[static_cast<std::size_t>(i) % std::size(kCropped)];
        const unsigned int to = kColorSpaces[random() % std::size(kColorSpaces)];
        const Dimensions size{8 + below(63), 8 + below(63)};
        const Rect corner{below(size.width), below(size.height), 0, 0};
        const Rect part{corner.x, corner.y, 1 + below(size.width - corner.x), 1 + below(size.height - corner.y)};
        const Dimensions partSize{part.w, part.h};
        const Dimensions out{8 + below(63), 8 + below(63)};
        if (part.w == size.width && part.h == size.height) {
            continue;
        }
        const std::vector<uint8_t> source = Noise(TightSize(from, size), static_cast<unsigned int>(i));
        const std::vector<uint8_t> atOnce = Run(*NewTransform(from, size, part, to, out), source);
        const std::vector<uint8_t> cropped = Run(*NewTransform(from, size, part, from, partSize), source);
        ASSERT_EQ(atOnce, Run(*NewTransform(from, partSize, {0, 0, 0, 0}, to, out), cropped)) << "round " << i;
        ASSERT_EQ(atOnce, ScaleLikeFfmpeg(from, partSize, cropped.data(), to, out)) << "round " << i;
    }
}

}  // namespace
