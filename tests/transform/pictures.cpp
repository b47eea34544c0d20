#include "transform/pictures.h"

#include <cstring>
#include <random>

#include "codrelay/ffmpeg_vocabulary.h"

namespace {

constexpr int kFarLonger = 256;

AVPixelFormat FormatOf(unsigned int colorSpace) {
    return GetFFmpegPixelFormat(static_cast<int>(colorSpace));
}

/// Rows of a picture somewhere: where planes begin, how far rows are apart, how many bytes of a row count.
struct Layout {
    uint8_t* planes[4] = {};
    int linesizes[4] = {};
    int rowBytes[4] = {};

    static Layout Of(AVPixelFormat format, int width) {
        Layout layout;
        av_image_fill_linesizes(layout.rowBytes, format, width);
        std::memcpy(layout.linesizes, layout.rowBytes, sizeof layout.linesizes);
        return layout;
    }
    /// The same, with rows of a host.
    static Layout OfHost(AVPixelFormat format, int width) {
        Layout layout = Of(format, width);
        if (format == AV_PIX_FMT_YUYV422) {
            layout.rowBytes[0] = layout.linesizes[0] = 2 * width;
        }
        return layout;
    }
    int Place(AVPixelFormat format, int height, uint8_t* begin) {
        return av_image_fill_pointers(planes, format, height, begin, linesizes);
    }
};

int RowsOf(AVPixelFormat format, int plane, int height) {
    return plane == 0 ? height : AV_CEIL_RSHIFT(height, av_pix_fmt_desc_get(format)->log2_chroma_h);
}

/// Calls `visit(plane, row in one, row in the other)` for every row of two pictures of a format.
template <typename Visit>
void ForEachRow(AVPixelFormat format, int height, const Layout& a, const Layout& b, Visit visit) {
    for (int plane = 0; plane < 4 && a.planes[plane] != nullptr; ++plane) {
        for (int row = 0; row < RowsOf(format, plane, height); ++row) {
            visit(plane, a.planes[plane] + static_cast<std::ptrdiff_t>(row) * a.linesizes[plane],
                  b.planes[plane] + static_cast<std::ptrdiff_t>(row) * b.linesizes[plane]);
        }
    }
}

/// A picture with room on every side, in memory that is 0 wherever nothing was written.
class RoomyPicture {
public:
    RoomyPicture(AVPixelFormat format, Dimensions size) : m_Layout(Layout::Of(format, size.width)) {
        for (int& linesize : m_Layout.linesizes) {
            linesize = linesize == 0 ? 0 : FFALIGN(linesize, 64) + kFarLonger;
        }
        const int bytes = m_Layout.Place(format, size.height, nullptr);
        m_Bytes.resize(static_cast<std::size_t>(bytes) + 2 * kFarLonger);
        m_Layout.Place(format, size.height,
                       reinterpret_cast<uint8_t*>(FFALIGN(reinterpret_cast<uintptr_t>(m_Bytes.data()), 64)));
    }

    const Layout& Rows() const { return m_Layout; }

private:
    Layout m_Layout;
    std::vector<uint8_t> m_Bytes;
};

void FillFrom(const RoomyPicture& picture, AVPixelFormat format, Dimensions size, const uint8_t* tight) {
    Layout from = Layout::OfHost(format, size.width);
    from.Place(format, size.height, const_cast<uint8_t*>(tight));
    const bool pairs = format == AV_PIX_FMT_YUYV422 && size.width > 1;
    ForEachRow(format, size.height, from, picture.Rows(), [&](int plane, const uint8_t* row, uint8_t* to) {
        const int bytes = from.rowBytes[plane];
        const int last = pairs ? 4 : av_pix_fmt_desc_get(format)->comp[plane].step;
        std::memcpy(to, row, static_cast<std::size_t>(bytes));
        std::memcpy(to + bytes, row + bytes - last, static_cast<std::size_t>(last));
    });
}

std::vector<uint8_t> TightRows(const RoomyPicture& picture, AVPixelFormat format, Dimensions size) {
    Layout to = Layout::Of(format, size.width);
    std::vector<uint8_t> bytes(static_cast<std::size_t>(to.Place(format, size.height, nullptr)));
    to.Place(format, size.height, bytes.data());
    ForEachRow(format, size.height, picture.Rows(), to, [&to](int plane, const uint8_t* row, uint8_t* tight) {
        std::memcpy(tight, row, static_cast<std::size_t>(to.rowBytes[plane]));
    });
    return bytes;
}

}  // namespace

std::size_t TightSize(unsigned int colorSpace, Dimensions size) {
    const AVPixelFormat format = FormatOf(colorSpace);
    return static_cast<std::size_t>(Layout::OfHost(format, size.width).Place(format, size.height, nullptr));
}

std::vector<uint8_t> Noise(std::size_t size, unsigned int seed) {
    std::minstd_rand random(seed);
    std::vector<uint8_t> noise(size);
    for (uint8_t& byte : noise) {
        byte = static_cast<uint8_t>(random() >> 8);
    }
    return noise;
}

std::vector<uint8_t> ScaleLikeFfmpeg(unsigned int fromColorSpace, Dimensions from, const uint8_t* tight,
                                     unsigned int toColorSpace, Dimensions to) {
    const AVPixelFormat fromFormat = FormatOf(fromColorSpace);
    const AVPixelFormat toFormat = FormatOf(toColorSpace);
    SwsContext* scaler = sws_getContext(from.width, from.height, fromFormat, to.width, to.height, toFormat, SWS_LANCZOS,
                                        nullptr, nullptr, nullptr);
    if (scaler == nullptr) {
        return {};
    }
    const RoomyPicture source(fromFormat, from);
    FillFrom(source, fromFormat, from, tight);
    const RoomyPicture target(toFormat, to);
    sws_scale(scaler, source.Rows().planes, source.Rows().linesizes, 0, from.height, target.Rows().planes,
              target.Rows().linesizes);
    sws_freeContext(scaler);
    return TightRows(target, toFormat, to);
}

std::shared_ptr<CFfmpegVideoTransform> NewTransform(unsigned int fromColorSpace, Dimensions from,
                                                    CVideoTransformBase::CROP_RECT crop, unsigned int toColorSpace,
                                                    Dimensions to) {
    return std::static_pointer_cast<CFfmpegVideoTransform>(
        CFfmpegVideoTransform::New(fromColorSpace, from.width, from.height, crop, toColorSpace, to.width, to.height));
}

std::shared_ptr<CFfmpegVideoTransform> NewTransform(unsigned int fromColorSpace, Dimensions from,
                                                    unsigned int toColorSpace, Dimensions to) {
    return NewTransform(fromColorSpace, from, {0, 0, from.width, from.height}, toColorSpace, to);
}

std::vector<uint8_t> BytesOf(CFfmpegVideoTransform& transform, CFrameBufferBase& picture) {
    return std::vector<uint8_t>(picture.GetData(), picture.GetData() + transform.GetOutFrameLength());
}
