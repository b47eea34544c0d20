#include "transform/slow_crop.h"

#include <algorithm>

namespace {

bool IsPlanar(unsigned int colorSpace) {
    return colorSpace == CSP_YUV420P || colorSpace == CSP_YUV420P_ALT;
}

class SlowCrop {
public:
    SlowCrop(Dimensions size, CVideoTransformBase::CROP_RECT part, const std::vector<uint8_t>& source,
             std::size_t resultSize)
        : m_Size(size), m_Part(part), m_Source(source), m_Result(resultSize) {}

    void CropPixels(int pixelBytes) {
        const int rowBytes = m_Size.width * pixelBytes;
        for (int row = 0; row < m_Part.h; ++row) {
            CopyRow(row * m_Part.w * pixelBytes, {0, rowBytes * m_Size.height, rowBytes}, (m_Part.y + row) * rowBytes,
                    m_Part.x * pixelBytes, m_Part.w * pixelBytes);
        }
    }

    void CropPlanes() {
        const int W = m_Size.width;
        const int L = W * m_Size.height;
        for (int row = 0; row < m_Part.h; ++row) {
            CopyRow(row * m_Part.w, {0, L, W}, (m_Part.y + row) * W, m_Part.x, m_Part.w);
        }
        const int chroma = m_Part.w * m_Part.h;
        for (int row = 0; row < m_Part.h / 2; ++row) {
            const int from = ((W >> 1) * m_Part.y) / 2 + row * (m_Part.x / 2 + (W - m_Part.x) / 2);
            const int to = chroma + row * (m_Part.w / 2);
            CopyRow(to, {L, L >> 2, W >> 1}, from, m_Part.x / 2, m_Part.w / 2);
            CopyRow(to + (chroma >> 2), {L + (L >> 2), L >> 2, W >> 1}, from, m_Part.x / 2, m_Part.w / 2);
        }
    }

    const std::vector<uint8_t>& Result() const { return m_Result; }

private:
    struct Plane {
        int begin;
        int size;
        int rowBytes;
    };

    /// Whole rows lie in the plane or outside it.
    void CopyRow(int to, const Plane& plane, int row, int column, int count) {
        const int left = std::max(column, 0);
        const int right = std::min(column + count, plane.rowBytes);
        if (row + left < 0 || row + right > plane.size) {
            return;
        }
        for (int i = left; i < right; ++i) {
            m_Result.at(static_cast<std::size_t>(to + i - column)) =
                m_Source.at(static_cast<std::size_t>(plane.begin + row + i));
        }
    }

    Dimensions m_Size;
    CVideoTransformBase::CROP_RECT m_Part;
    const std::vector<uint8_t>& m_Source;
    std::vector<uint8_t> m_Result;
};

}  // namespace

std::vector<uint8_t> CropSlowly(unsigned int colorSpace, Dimensions size, CVideoTransformBase::CROP_RECT part,
                                const std::vector<uint8_t>& source) {
    SlowCrop crop(size, part, source, TightSize(colorSpace, {part.w, part.h}));
    if (IsPlanar(colorSpace)) {
        crop.CropPlanes();
    } else {
        crop.CropPixels(colorSpace == CSP_YUYV422 ? 2 : 3);
    }
    return crop.Result();
}

std::vector<uint8_t> WithWholeChroma(unsigned int colorSpace, Dimensions size, const std::vector<uint8_t>& cropped) {
    if (!IsPlanar(colorSpace)) {
        return cropped;
    }
    const auto wide = [](int number) { return static_cast<std::size_t>(number); };
    const std::size_t luma = wide(size.width) * wide(size.height);
    std::vector<uint8_t> whole(cropped.begin(), cropped.begin() + static_cast<std::ptrdiff_t>(luma));
    const std::size_t columns = wide(size.width / 2);
    const std::size_t rows = wide(size.height / 2);
    const bool none = columns == 0 || rows == 0;
    for (const std::size_t plane : {luma, luma + (luma >> 2)}) {
        for (std::size_t row = 0; row < wide((size.height + 1) / 2); ++row) {
            for (std::size_t column = 0; column < wide((size.width + 1) / 2); ++column) {
                const std::size_t last = none ? 0 : std::min(row, rows - 1) * columns + std::min(column, columns - 1);
                whole.push_back(none ? 0 : cropped.at(plane + last));
            }
        }
    }
    return whole;
}
