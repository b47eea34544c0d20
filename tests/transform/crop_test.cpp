#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <random>

#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "transform/pictures.h"
#include "transform/slow_crop.h"

using Rect = CVideoTransformBase::CROP_RECT;

namespace {

constexpr unsigned int kCropped[] = {CSP_YUV420P_ALT, CSP_YUV420P, CSP_YUYV422, CSP_BGR24, CSP_RGB24};

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
        ExpectPart(colorSpace, size, part, Noise(TightSize(colorSpace, size), 1));
    }

    void ExpectPart(unsigned int colorSpace, Dimensions size, Rect part, const std::vector<uint8_t>& source) {
        const auto transform = NewTransform(colorSpace, size, part, colorSpace, {part.w, part.h});
        ASSERT_EQ(Run(*transform, source), CropSlowly(colorSpace, size, part, source))
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
                ExpectPart(colorSpace, size, {x, y, 5, 6}, source);
                ASSERT_FALSE(HasFatalFailure());
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
        const std::vector<uint8_t> cropped =
            WithWholeChroma(from, partSize, Run(*NewTransform(from, size, part, from, partSize), source));
        ASSERT_EQ(atOnce, Run(*NewTransform(from, partSize, {0, 0, 0, 0}, to, out), cropped)) << "round " << i;
        ASSERT_EQ(atOnce, ScaleLikeFfmpeg(from, partSize, cropped.data(), to, out)) << "round " << i;
    }
}

// --- Colours of 4:2:0 parts of odd size, whose crop has fewer samples than the scaler reads.

constexpr Dimensions kFilm{640, 480};
constexpr Dimensions kShown{320, 240};

class ScaledPart : public Crop {
protected:
    /// A film whose pixels and colours are those of `value(plane, x, y)`, x and y in pixels.
    template <typename Value>
    static std::vector<uint8_t> Film(Value value) {
        std::vector<uint8_t> film;
        for (int plane = 0; plane < 3; ++plane) {
            const int step = plane == 0 ? 1 : 2;
            for (int y = 0; y < kFilm.height; y += step) {
                for (int x = 0; x < kFilm.width; x += step) {
                    film.push_back(static_cast<uint8_t>(value(plane, x, y)));
                }
            }
        }
        return film;
    }

    /// Eight bars along an axis of 640 or 480 pixels.
    static int Bar(int plane, int position) { return 40 + (position / 60 * (plane + 3) * 37) % 176; }

    static std::vector<uint8_t> SmoothFilm() {
        return Film([](int plane, int x, int y) {
            return 128 + 90 * std::sin((x + 50 * plane) / 97.0) * std::cos((y - 30 * plane) / 71.0);
        });
    }

    std::vector<uint8_t> Shown(unsigned int colorSpace, Rect part, const std::vector<uint8_t>& film) {
        return Run(*NewTransform(colorSpace, kFilm, part, CSP_RGB24, kShown), film);
    }

    /// The part with all its colour samples, by pointers into the planes.
    static std::vector<uint8_t> TakenByPointers(Rect part, const std::vector<uint8_t>& film) {
        const uint8_t* const luma = film.data();
        std::vector<uint8_t> taken;
        for (int y = part.y; y < part.y + part.h; ++y) {
            taken.insert(taken.end(), luma + y * kFilm.width + part.x, luma + y * kFilm.width + part.x + part.w);
        }
        const int step = part.x / 2 + (kFilm.width - part.x) / 2;
        for (const uint8_t* plane : {luma + 640 * 480, luma + 640 * 480 + 320 * 240}) {
            const uint8_t* row = plane + kFilm.width / 2 * part.y / 2 + part.x / 2;
            for (int y = 0; y < (part.h + 1) / 2; ++y, row += step) {
                taken.insert(taken.end(), row, row + (part.w + 1) / 2);
            }
        }
        return taken;
    }

    static double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
        double squares = 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            squares += (a[i] - b[i]) * (a[i] - b[i]);
        }
        return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / squares);
    }
};

TEST_F(ScaledPart, UprightBarsStayUpright) {
    const std::vector<uint8_t> film = Film([](int plane, int x, int) { return Bar(plane, x); });
    for (const Rect part : {Rect{64, 48, 211, 158}, {64, 48, 210, 157}, {64, 48, 211, 157}, {0, 0, 633, 474}}) {
        const std::vector<uint8_t> shown = Shown(CSP_YUV420P, part, film);
        ASSERT_EQ(shown.size(), 320U * 240 * 3);
        const std::vector<uint8_t> first(shown.begin(), shown.begin() + 960);
        for (std::ptrdiff_t row = 1; row < 240; ++row) {
            ASSERT_EQ(std::vector<uint8_t>(shown.begin() + row * 960, shown.begin() + (row + 1) * 960), first)
                << "row " << row << " of " << part.w << "x" << part.h;
        }
    }
}

TEST_F(ScaledPart, LyingBarsStayLevel) {
    const std::vector<uint8_t> film = Film([](int plane, int, int y) { return Bar(plane, y); });
    for (const Rect part : {Rect{64, 48, 211, 158}, {64, 48, 210, 157}, {64, 48, 211, 157}, {0, 0, 633, 474}}) {
        const std::vector<uint8_t> shown = Shown(CSP_YUV420P_ALT, part, film);
        ASSERT_EQ(shown.size(), 320U * 240 * 3);
        for (std::size_t i = 3; i < shown.size(); ++i) {
            if (i % 960 >= 3) {
                ASSERT_EQ(shown[i], shown[i - 3]) << "byte " << i << " of " << part.w << "x" << part.h;
            }
        }
    }
}

TEST_F(ScaledPart, OfAFewPixelsHasTheColoursThatItsCropHas) {
    const Dimensions size{16, 12};
    const std::vector<uint8_t> source = Noise(TightSize(CSP_YUV420P, size), 8);
    for (int w = 1; w <= 5; ++w) {
        for (int h = 1; h <= 5; ++h) {
            const Rect part{4, 2, w, h};
            const std::vector<uint8_t> picture =
                WithWholeChroma(CSP_YUV420P, {w, h}, CropSlowly(CSP_YUV420P, size, part, source));
            EXPECT_EQ(Run(*NewTransform(CSP_YUV420P, size, part, CSP_RGB24, {16, 16}), source),
                      ScaleLikeFfmpeg(CSP_YUV420P, {w, h}, picture.data(), CSP_RGB24, {16, 16}))
                << w << "x" << h;
        }
    }
}

TEST_F(ScaledPart, HasTheColoursOfTheSamePartTakenByPointers) {
    const std::vector<uint8_t> film = SmoothFilm();
    for (int parity = 0; parity < 16; ++parity) {
        const Rect part{64 + parity % 2, 48 + parity / 2 % 2, 210 + parity / 4 % 2, 158 + parity / 8};
        for (const unsigned int colorSpace : {CSP_YUV420P_ALT, CSP_YUV420P}) {
            const std::vector<uint8_t> shown = Shown(colorSpace, part, film);
            const std::vector<uint8_t> expected =
                ScaleLikeFfmpeg(CSP_YUV420P, {part.w, part.h}, TakenByPointers(part, film).data(), CSP_RGB24, kShown);
            ASSERT_EQ(shown.size(), expected.size());
            EXPECT_GT(Psnr(shown, expected), 50) << part.w << "x" << part.h << " at " << part.x << ", " << part.y;
        }
    }
}

}  // namespace
