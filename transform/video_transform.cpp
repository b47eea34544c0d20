#include "codrelay/video_transform.h"

#include <climits>

#include "support/log_front.h"
#include "transform/ffmpeg_video_transform.h"
#include "transform/video_transform_dummy.h"

namespace {

constexpr int kMinSize = 8;
constexpr int kMaxSize = 4096;
// Without YUYV422, which is taken all the same: hosts know the number.
constexpr unsigned int kSupportedColorSpaces = 27;

bool IsAllowed(int size) {
    return size >= kMinSize && size <= kMaxSize;
}

// Products are taken in 64 bits and then cut; a quotient that does not exist counts as 0.
int Scaled(int value, int factor, int divisor) {
    if (divisor == 0) {
        return 0;
    }
    return static_cast<int>(static_cast<long long>(value) * factor / divisor);
}

bool IsWholePicture(const CVideoTransformBase::ZOOM_RECT& zoom) {
    const long long width = static_cast<long long>(zoom.right) - zoom.left;
    const long long height = static_cast<long long>(zoom.bottom) - zoom.top;
    return width > 99 && height > 99;
}

// The height follows from the width, whatever the bottom edge says: the picture keeps its shape.
CVideoTransformBase::CROP_RECT CropFor(const CVideoTransformBase::ZOOM_RECT* zoom, int inWidth, int inHeight) {
    if (zoom == nullptr || IsWholePicture(*zoom)) {
        return {0, 0, inWidth, inHeight};
    }
    CVideoTransformBase::CROP_RECT crop{};
    crop.x = Scaled(zoom->left, inWidth, 100);
    crop.y = Scaled(zoom->top, inHeight, 100);
    crop.w = static_cast<int>(static_cast<long long>(Scaled(zoom->right, inWidth, 100)) - crop.x);
    crop.h = Scaled(crop.w, inHeight, inWidth);
    return crop;
}

bool Exceeds(int offset, int length, int limit) {
    return static_cast<long long>(offset) + length > limit;
}

}  // namespace

CVideoTransformBase::CVideoTransformBase() = default;

CVideoTransformBase::~CVideoTransformBase() = default;

unsigned int CVideoTransformBase::GetSupportedColorSpaces() {
    return kSupportedColorSpaces;
}

bool CVideoTransformBase::CheckSize(int width, int height) {
    if (!IsAllowed(width)) {
        CODRELAY_LOG(Error) << "CVideoTransformBase::Create: wrong nRequestWidth = " << width;
        return false;
    }
    if (!IsAllowed(height)) {
        CODRELAY_LOG(Error) << "CVideoTransformBase::Create: wrong nRequestHeight = " << height;
        return false;
    }
    return true;
}

std::shared_ptr<CVideoTransformBase> CVideoTransformBase::New(unsigned int inColorSpace, int inWidth, int inHeight,
                                                              ZOOM_RECT* zoom, unsigned int outColorSpace, int outWidth,
                                                              int outHeight) {
    if (!CheckSize(outWidth, outHeight)) {
        CODRELAY_LOG(Trace) << "CheckSize failed";
        return nullptr;
    }
    CROP_RECT crop = CropFor(zoom, inWidth, inHeight);
    const bool shapeless = inWidth == 0 && zoom != nullptr && !IsWholePicture(*zoom);
    if (shapeless || Exceeds(crop.x, crop.w, inWidth) || Exceeds(crop.y, crop.h, inHeight)) {
        CODRELAY_LOG(Critical) << "CVideoTransformBase::New: invalid zoom dimensions: { x: " << crop.x
                               << ", y: " << crop.y << ", w: " << crop.w << ", h: " << crop.h << " }";
        return nullptr;
    }
    if (inColorSpace == outColorSpace && crop.w == inWidth && crop.h == inHeight && inWidth == outWidth &&
        inHeight == outHeight) {
        CODRELAY_LOG(Trace) << "Creating dummy transform";
        return std::make_shared<CVideoTransformDummy>();
    }
    CODRELAY_LOG(Trace) << "Creating ffmpeg transform";
    return CFfmpegVideoTransform::New(inColorSpace, inWidth, inHeight, crop, outColorSpace, outWidth, outHeight);
}
