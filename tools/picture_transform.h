#pragma once

#include <codrelay/video_transform.h>

#include <memory>
#include <optional>
#include <vector>

#include "picture.h"

/// A part of a picture in percent of its size.
using PicturePart = CVideoTransformBase::ZOOM_RECT;

/// A size that `--size` can ask for; any other is a `Failure`.
void CheckSizeAskedFor(PictureSize size);

/// Cuts, scales and converts pictures of CSP_YUV420P with the library's transforms, and follows their size.
class PictureTransform {
public:
    explicit PictureTransform(unsigned int colorSpace, std::optional<PicturePart> part = std::nullopt)
        : m_ColorSpace(colorSpace), m_Part(part) {}

    /// The size of the part of such a picture; without a part that of the picture.
    PictureSize PartSize(PictureSize whole) const;

    /// The part of `picture`, scaled to `size`. A `Failure` where that cannot be had. The result is good until the next
    /// call, and as long as `picture` and this object.
    Picture Apply(const Picture& picture, PictureSize size);

private:
    using Step = std::shared_ptr<CVideoTransformBase>;

    void Prepare(PictureSize in, PictureSize out);
    Step PartStep(PictureSize in, PictureSize out);

    unsigned int m_ColorSpace;
    std::optional<PicturePart> m_Part;
    PictureSize m_InSize;
    PictureSize m_OutSize;
    std::vector<Step> m_Steps;
};
