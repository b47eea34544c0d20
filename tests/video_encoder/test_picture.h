#pragma once

#include <vector>

#include "codrelay/frame_buffer.h"

/// A 4:2:0 picture in memory of its own, rows tight.
class TestPicture : public CFrameBufferBase {
public:
    TestPicture(unsigned int width, unsigned int height);

    unsigned char* GetData() override { return m_Bytes.data(); }
    const unsigned char* GetConstData() override { return m_Bytes.data(); }
    std::vector<unsigned char>& Bytes() { return m_Bytes; }

private:
    std::vector<unsigned char> m_Bytes;
};

/// Paints picture `number` of a scene: a textured ground that pans, with a ball that crosses it.
void PaintScene(TestPicture& picture, unsigned int number);

/// Fills a picture with noise, which no codec can make small. The same `seed` gives the same noise.
void PaintNoise(TestPicture& picture, unsigned int seed);

/// The sum of the squared differences of two pictures of `size` bytes.
double SquaredError(const unsigned char* a, const unsigned char* b, std::size_t size);

/// The peak signal-to-noise ratio in decibels, for a summed error over `samples` bytes.
double Psnr(double squaredError, double samples);
