#include "support/scaler.h"

#include <mutex>

namespace {

SwsContext* GetContext(int srcWidth, int srcHeight, AVPixelFormat srcFormat, int dstWidth, int dstHeight,
                       AVPixelFormat dstFormat) {
    return sws_getContext(srcWidth, srcHeight, srcFormat, dstWidth, dstHeight, dstFormat, SWS_LANCZOS, nullptr, nullptr,
                          nullptr);
}

// The very first context of a process fills libswscale's tables without a lock.
void FillTablesOnce() {
    static std::once_flag once;
    std::call_once(once, [] { sws_freeContext(GetContext(16, 16, AV_PIX_FMT_YUV420P, 16, 16, AV_PIX_FMT_RGB24)); });
}

}  // namespace

ScalerPtr NewScaler(int srcWidth, int srcHeight, AVPixelFormat srcFormat, int dstWidth, int dstHeight,
                    AVPixelFormat dstFormat) {
    FillTablesOnce();
    return ScalerPtr(GetContext(srcWidth, srcHeight, srcFormat, dstWidth, dstHeight, dstFormat));
}
