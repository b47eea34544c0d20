#include "test_picture.h"

#include <cmath>
#include <random>

namespace {

unsigned int HalfUp(unsigned int size) {
    return (size + 1) / 2;
}

struct Ball {
    int x, y, radius;

    bool Covers(unsigned int px, unsigned int py) const {
        const int dx = static_cast<int>(px) - x;
        const int dy = static_cast<int>(py) - y;
        return dx * dx + dy * dy < radius * radius;
    }
};

Ball BallAt(unsigned int width, unsigned int height, unsigned int number) {
    const double turn = number * 0.05;
    return {static_cast<int>(width * (0.5 + 0.35 * std::cos(turn))),
            static_cast<int>(height * (0.5 + 0.35 * std::sin(turn * 1.7))), static_cast<int>(height / 6)};
}

/// The wave of the ground along one axis. The two axes' waves are multiplied.
std::vector<double> Wave(unsigned int length, double start, double step, double (*function)(double)) {
    std::vector<double> wave(length);
    for (unsigned int i = 0; i < length; ++i) {
        wave[i] = function((i + start) * step);
    }
    return wave;
}

}  // namespace

TestPicture::TestPicture(unsigned int width, unsigned int height) {
    m_nWidth = width;
    m_nHeight = height;
    m_Bytes.resize(width * height + 2 * HalfUp(width) * HalfUp(height));
}

void PaintScene(TestPicture& picture, unsigned int number) {
    const unsigned int width = picture.m_nWidth;
    const unsigned int height = picture.m_nHeight;
    const Ball ball = BallAt(width, height, number);
    const std::vector<double> across = Wave(width, 2.0 * number, 0.11, std::sin);
    const std::vector<double> down = Wave(height, number, 0.07, std::cos);
    unsigned char* at = picture.GetData();
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            const double ground = 128 + 70 * across[x] * down[y] + (x + y) % 7;
            *at++ = ball.Covers(x, y) ? 210 : static_cast<unsigned char>(ground);
        }
    }
    for (const unsigned int colour : {90U, 160U}) {
        for (unsigned int y = 0; y < HalfUp(height); ++y) {
            for (unsigned int x = 0; x < HalfUp(width); ++x) {
                *at++ = static_cast<unsigned char>(ball.Covers(2 * x, 2 * y) ? 255 - colour
                                                                             : colour + (x + number) / 16 % 16);
            }
        }
    }
}

void PaintNoise(TestPicture& picture, unsigned int seed) {
    std::minstd_rand random(seed);
    for (unsigned char& byte : picture.Bytes()) {
        byte = static_cast<unsigned char>(random() >> 8);
    }
}

double SquaredError(const unsigned char* a, const unsigned char* b, std::size_t size) {
    double sum = 0;
    for (std::size_t i = 0; i < size; ++i) {
        const double difference = a[i] - b[i];
        sum += difference * difference;
    }
    return sum;
}

double Psnr(double squaredError, double samples) {
    return 10 * std::log10(255.0 * 255.0 * samples / squaredError);
}
