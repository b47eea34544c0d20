#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "transform/ffmpeg_video_transform.h"

std::shared_ptr<CVideoTransformBase> Codrelay_VideoTransform(unsigned int inColorSpace, int inWidth, int inHeight,
                                                             CVideoTransformBase::ZOOM_RECT* zoom,
                                                             unsigned int outColorSpace, int outWidth, int outHeight) {
    return CVideoTransformBase::New(inColorSpace, inWidth, inHeight, zoom, outColorSpace, outWidth, outHeight);
}

bool Codrelay_VideoTransformCheckSize(int width, int height) {
    return CVideoTransformBase::CheckSize(width, height);
}

std::shared_ptr<CVideoTransformBase> NewFFmpegVideoTransform(unsigned int inColorSpace, int inWidth, int inHeight,
                                                             CVideoTransformBase::CROP_RECT& crop,
                                                             unsigned int outColorSpace, int outWidth, int outHeight) {
    return CFfmpegVideoTransform::New(inColorSpace, inWidth, inHeight, crop, outColorSpace, outWidth, outHeight);
}
