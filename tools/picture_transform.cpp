#include "picture_transform.h"

#include <codrelay/factories.h>
#include <codrelay/ffmpeg_layer.h>
#include <codrelay/media_ids.h>

#include <algorithm>
#include <string>

#include "failure.h"

namespace {

using PixelRectangle = CVideoTransformBase::CROP_RECT;

/// FFmpeg's scaler refuses to go down by much more at once.
constexpr unsigned int kMostReduction = 32;

/// As the library cuts it: the part keeps the picture's shape, so its height follows from its width.
PixelRectangle PartInPixels(const PicturePart& part, PictureSize whole) {
    const int width = static_cast<int>(whole.width);
    const int height = static_cast<int>(whole.height);
    const int x = part.left * width / 100;
    const int w = part.right * width / 100 - x;
    return {x, part.top * height / 100, w, static_cast<int>(static_cast<long long>(w) * height / width)};
}

/// The size on the way from `in` to `out` that one step can reach.
PictureSize Reach(PictureSize in, PictureSize out) {
    const auto reduced = [](unsigned int side) { return (side + kMostReduction - 1) / kMostReduction; };
    return {std::max(out.width, reduced(in.width)), std::max(out.height, reduced(in.height))};
}

/// The layer beneath, since pictures of any size may be converted and put on a contact sheet.
std::shared_ptr<CVideoTransformBase> WholeStep(unsigned int inColorSpace, PictureSize in, unsigned int outColorSpace,
                                               PictureSize out) {
    PixelRectangle whole{0, 0, static_cast<int>(in.width), static_cast<int>(in.height)};
    auto step = NewFFmpegVideoTransform(inColorSpace, whole.w, whole.h, whole, outColorSpace,
                                        static_cast<int>(out.width), static_cast<int>(out.height));
    if (!step) {
        throw Failure("pictures of " + SizeText(in) + " cannot be scaled to " + SizeText(out));
    }
    return step;
}

}  // namespace

void CheckSizeAskedFor(PictureSize size) {
    if (!Codrelay_VideoTransformCheckSize(static_cast<int>(size.width), static_cast<int>(size.height))) {
        throw Failure("pictures cannot be scaled to " + SizeText(size) + ": a side has 8 to 4096 pixels");
    }
}

PictureSize PictureTransform::PartSize(PictureSize whole) const {
    if (!m_Part) {
        return whole;
    }
    const PixelRectangle part = PartInPixels(*m_Part, whole);
    return {static_cast<unsigned int>(part.w), static_cast<unsigned int>(part.h)};
}

PictureTransform::Step PictureTransform::PartStep(PictureSize in, PictureSize out) {
    auto step = Codrelay_VideoTransform(CSP_YUV420P, static_cast<int>(in.width), static_cast<int>(in.height), &*m_Part,
                                        m_ColorSpace, static_cast<int>(out.width), static_cast<int>(out.height));
    if (!step) {
        const PixelRectangle part = PartInPixels(*m_Part, in);
        throw Failure("the part asked for cannot be cut out of pictures of " + SizeText(in) + ": it has " +
                      SizeText(PartSize(in)) + " pixels, its height following from its width, from column " +
                      std::to_string(part.x) + " and row " + std::to_string(part.y));
    }
    return step;
}

void PictureTransform::Prepare(PictureSize in, PictureSize out) {
    m_Steps.clear();
    PictureSize size = in;
    unsigned int colorSpace = CSP_YUV420P;
    if (m_Part) {
        size = Reach(PartSize(in), out);
        m_Steps.push_back(PartStep(in, size));
        colorSpace = m_ColorSpace;
    }
    while (!(size == out) || colorSpace != m_ColorSpace) {
        const PictureSize next = Reach(size, out);
        m_Steps.push_back(WholeStep(colorSpace, size, m_ColorSpace, next));
        size = next;
        colorSpace = m_ColorSpace;
    }
    m_InSize = in;
    m_OutSize = out;
}

Picture PictureTransform::Apply(const Picture& picture, PictureSize size) {
    if (!(picture.size == m_InSize) || !(size == m_OutSize)) {
        Prepare(picture.size, size);
    }
    Picture result = picture;
    for (const Step& step : m_Steps) {
        CFrameBufferBase* frame = step->Transform(result.frame.get());
        if (frame == nullptr) {
            throw Failure("a picture of " + SizeText(picture.size) + " cannot be scaled to " + SizeText(size));
        }
        // The frame is the transform's, which is kept with it.
        result.frame = std::shared_ptr<CFrameBufferBase>(step, frame);
    }
    result.size = size;
    result.bytes = PictureBytes(m_ColorSpace, size);
    return result;
}
