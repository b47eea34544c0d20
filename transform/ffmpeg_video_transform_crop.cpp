#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "transform/ffmpeg_video_transform.h"

namespace {

/// A plane as the crop sees it: bytes from which rows are cut.
struct Plane {
    const uint8_t* bytes;
    long long size;
    /// Bytes of a row's pixels, those left of the picture not being any.
    long long rowBytes;
};

/// Which bytes of a plane are cut out: `count` of each row, from byte `column` of it on.
struct Cut {
    long long firstRow;
    /// Bytes from a row to the next.
    long long step;
    long long column;
    long long count;
    long long rows;
    /// Bytes from a row to the next where they are put.
    long long toStep;
};

/// Columns outside their row and rows outside the plane are neither read nor written: `to` keeps what it has there.
void CopyRows(uint8_t* to, const Plane& plane, const Cut& cut) {
    const long long left = std::max(cut.column, 0LL);
    const long long right = std::min(cut.column + cut.count, plane.rowBytes);
    if (left >= right) {
        return;
    }
    const auto row = [&cut](long long i) { return cut.firstRow + i * cut.step; };
    long long begin = 0;
    long long end = cut.rows;
    while (begin < end && row(begin) + left < 0) {
        ++begin;
    }
    while (begin < end && row(end - 1) + right > plane.size) {
        --end;
    }
    for (long long i = begin; i < end; ++i) {
        std::memcpy(to + i * cut.toStep + (left - cut.column), plane.bytes + row(i) + left,
                    static_cast<std::size_t>(right - left));
    }
}

/// Fills the last column and row of a whole plane of chroma, for a picture of `w` by `h` pixels whose halves rounded
/// down are there. Nothing comes of nothing: the samples of a picture of one column or row stay 0, which is green.
void RepeatLastSamples(uint8_t* plane, long long w, long long h) {
    const long long columns = w / 2;
    const long long rows = h / 2;
    const long long step = (w + 1) / 2;
    if (columns < 1 || rows < 1) {
        return;
    }
    if (w % 2 != 0) {
        for (long long row = 0; row < rows; ++row) {
            plane[row * step + columns] = plane[row * step + columns - 1];
        }
    }
    if (h % 2 != 0) {
        std::memcpy(plane + rows * step, plane + (rows - 1) * step, static_cast<std::size_t>(step));
    }
}

}  // namespace

void CFfmpegVideoTransform::Crop(void* src, void* dst) {
    switch (m_Input.format) {
        case AV_PIX_FMT_YUV420P:
            return CropPlanarYUVFrame(src, dst);
        case AV_PIX_FMT_YUYV422:
            return CropPackedYUYV422Frame(src, dst);
        case AV_PIX_FMT_RGB24:
        case AV_PIX_FMT_BGR24:
            return CropRGB24Frame(src, dst);
        default:
            // There is no crop of four-byte pixels, and hosts are told so.
            std::abort();
    }
}

void CFfmpegVideoTransform::CropRGB24Frame(void* src, void* dst) {
    CropPacked(static_cast<const uint8_t*>(src), static_cast<uint8_t*>(dst), 3);
}

// An odd column is allowed and swaps the roles of the chroma bytes.
void CFfmpegVideoTransform::CropPackedYUYV422Frame(void* src, void* dst) {
    CropPacked(static_cast<const uint8_t*>(src), static_cast<uint8_t*>(dst), 2);
}

void CFfmpegVideoTransform::CropPacked(const uint8_t* src, uint8_t* dst, int pixelBytes) const {
    const CROP_RECT& crop = m_CropRect;
    const long long rowBytes = static_cast<long long>(m_InputSize.width) * pixelBytes;
    const long long count = static_cast<long long>(crop.w) * pixelBytes;
    CopyRows(dst, {src, rowBytes * m_InputSize.height, rowBytes},
             {crop.y * rowBytes, rowBytes, static_cast<long long>(crop.x) * pixelBytes, count, crop.h, count});
}

// Samples by whole divisions, odd values not rounded: hosts know the pictures that come of it.
void CFfmpegVideoTransform::CropPlanarYUVFrame(void* src, void* dst) {
    const long long w = m_CropRect.w;
    const long long h = m_CropRect.h;
    CropPlanes(static_cast<const uint8_t*>(src), static_cast<uint8_t*>(dst), {w / 2, (w * h) >> 2});
}

void CFfmpegVideoTransform::CropPlanes(const uint8_t* src, uint8_t* dst, const Chroma& chroma) const {
    const long long x = m_CropRect.x;
    const long long y = m_CropRect.y;
    const long long w = m_CropRect.w;
    const long long h = m_CropRect.h;
    const long long W = m_InputSize.width;
    const long long L = W * m_InputSize.height;
    if (w < 1 || h < 1) {
        return;  // a rectangle turned round
    }
    CopyRows(dst, {src, L, W}, {y * W, W, x, w, h, w});

    const Cut cut{((W >> 1) * y) / 2, x / 2 + (W - x) / 2, x / 2, w / 2, h / 2, chroma.rowBytes};
    CopyRows(dst + w * h, {src + L, L >> 2, W >> 1}, cut);
    CopyRows(dst + w * h + chroma.planeBytes, {src + L + (L >> 2), L >> 2, W >> 1}, cut);
}

// The scaler reads a colour sample for an odd last column and row too, and the crop has none.
void CFfmpegVideoTransform::CropForScaling(uint8_t* src) {
    uint8_t* const dst = m_CropBuffer.data();
    if (m_Input.format != AV_PIX_FMT_YUV420P) {
        return Crop(src, dst);
    }
    const long long w = m_CropRect.w;
    const long long h = m_CropRect.h;
    if (w < 1 || h < 1) {
        return;
    }
    const Chroma whole{(w + 1) / 2, (w + 1) / 2 * ((h + 1) / 2)};
    CropPlanes(src, dst, whole);
    RepeatLastSamples(dst + w * h, w, h);
    RepeatLastSamples(dst + w * h + whole.planeBytes, w, h);
}
