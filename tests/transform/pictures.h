#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codrelay/media_ids.h"
#include "transform/ffmpeg_video_transform.h"

/// Every colour space of its own format: CSP_YUV420P_ALT is CSP_YUV420P by another name.
constexpr unsigned int kColorSpaces[] = {CSP_YUV420P, CSP_YUYV422, CSP_BGR24, CSP_RGB24, CSP_BGRA, CSP_NV12};

struct Dimensions {
    int width;
    int height;
};

/// A host's picture, whose bytes lie elsewhere.
class HostFrame : public CFrameBufferBase {
public:
    explicit HostFrame(unsigned char* bytes, std::int64_t timestamp = 0) : m_pBytes(bytes) { m_nTimestamp = timestamp; }
    unsigned char* GetData() override { return m_pBytes; }
    const unsigned char* GetConstData() override { return m_pBytes; }

private:
    unsigned char* m_pBytes;
};

/// Bytes of a host's picture, rows tight.
std::size_t TightSize(unsigned int colorSpace, Dimensions size);

std::vector<uint8_t> Noise(std::size_t size, unsigned int seed);

/// What the scaler alone makes of a tight picture: on aligned rows that are far longer than the picture, in one call,
/// an odd width followed by its last pixel once more. Handed out with FFmpeg's tight rows; empty where there is no such
/// conversion.
std::vector<uint8_t> ScaleLikeFfmpeg(unsigned int fromColorSpace, Dimensions from, const uint8_t* tight,
                                     unsigned int toColorSpace, Dimensions to);

/// A transform of the whole picture or of a part, straight from the class.
std::shared_ptr<CFfmpegVideoTransform> NewTransform(unsigned int fromColorSpace, Dimensions from,
                                                    CVideoTransformBase::CROP_RECT crop, unsigned int toColorSpace,
                                                    Dimensions to);
std::shared_ptr<CFfmpegVideoTransform> NewTransform(unsigned int fromColorSpace, Dimensions from,
                                                    unsigned int toColorSpace, Dimensions to);

/// The bytes of a transform's last picture.
std::vector<uint8_t> BytesOf(CFfmpegVideoTransform& transform, CFrameBufferBase& picture);
