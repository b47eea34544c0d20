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

/// Copies `count` bytes of the row that starts at `row`, from byte `column` of it on. Bytes outside the row or the
/// plane are neither read nor written: `to` keeps what it has.
void CopyRow(uint8_t* to, const Plane& plane, long long row, long long column, long long count) {
    const long long first = std::max({column, 0LL, -row});
    const long long last = std::min({column + count, plane.rowBytes, plane.size - row});
    if (first < last) {
        std::memcpy(to + (first - column), plane.bytes + row + first, static_cast<std::size_t>(last - first));
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
    const Plane plane{src, rowBytes * m_InputSize.height, rowBytes};
    const long long count = static_cast<long long>(crop.w) * pixelBytes;
    for (int row = 0; row < crop.h; ++row) {
        CopyRow(dst + row * count, plane, (static_cast<long long>(crop.y) + row) * rowBytes,
                static_cast<long long>(crop.x) * pixelBytes, count);
    }
}

// Chroma by whole divisions, odd values not rounded: hosts know the pictures that come of it.
void CFfmpegVideoTransform::CropPlanarYUVFrame(void* src, void* dst) {
    const long long x = m_CropRect.x;
    const long long y = m_CropRect.y;
    const long long w = m_CropRect.w;
    const long long h = m_CropRect.h;
    const long long W = m_InputSize.width;
    const long long L = W * m_InputSize.height;
    const auto* from = static_cast<const uint8_t*>(src);
    auto* luma = static_cast<uint8_t*>(dst);
    uint8_t* chroma[2] = {luma + w * h, luma + w * h + ((w * h) >> 2)};
    const Plane lumaPlane{from, L, W};
    const Plane chromaPlanes[2] = {{from + L, L >> 2, W >> 1}, {from + L + (L >> 2), L >> 2, W >> 1}};

    for (long long row = 0; row < h; ++row) {
        CopyRow(luma + row * w, lumaPlane, (y + row) * W, x, w);
    }
    const long long offset = ((W >> 1) * y) / 2;
    const long long step = x / 2 + (W - x) / 2;
    for (long long row = 0; row < h / 2; ++row) {
        for (int plane = 0; plane < 2; ++plane) {
            CopyRow(chroma[plane] + row * (w / 2), chromaPlanes[plane], offset + row * step, x / 2, w / 2);
        }
    }
}
