#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "codrelay/video_transform.h"
#include "support/ffmpeg.h"
#include "support/scaler.h"
#include "transform/tight_scaling.h"

/// Cuts a rectangle out of a picture, if one is asked for, and scales and converts it by libswscale. All decisions are
/// taken when the object is made; a frame only costs the copying and the scaling.
class CFfmpegVideoTransform : public CVideoTransformBase {
public:
    /// Empty on failure, with a line at Critical. Throws std::length_error for a colour space that FFmpeg has no format
    /// for, where neither size nor colour space change.
    static std::shared_ptr<CVideoTransformBase> New(unsigned int inColorSpace, int inWidth, int inHeight,
                                                    CROP_RECT& crop, unsigned int outColorSpace, int outWidth,
                                                    int outHeight);
    ~CFfmpegVideoTransform() override;

    CFrameBufferBase* Transform(CFrameBufferBase* frame) override;

    /// Bytes of an output picture.
    int GetOutFrameLength();

    /// Scales `src` into `dst`, both with tight rows.
    bool Resize(void* src, void* dst);

    /// Cuts the rectangle out of `src`, rows tight on both sides. What lies outside the picture stays as it is in
    /// `dst`.
    void Crop(void* src, void* dst);
    void CropPlanarYUVFrame(void* src, void* dst);
    void CropPackedYUYV422Frame(void* src, void* dst);
    void CropRGB24Frame(void* src, void* dst);

private:
    /// The format and the size as the object remembers them, in 16 bits.
    struct Picture {
        AVPixelFormat format = AV_PIX_FMT_NONE;
        uint16_t width = 0;
        uint16_t height = 0;
    };

    class COutputBuffer : public CFrameBufferBase {
    public:
        unsigned char* GetData() override { return m_Bytes.data(); }
        const unsigned char* GetConstData() override { return m_Bytes.data(); }

        std::vector<unsigned char> m_Bytes;
    };

    struct Size {
        int width = 0;
        int height = 0;
    };

    /// How the planes of chroma lie: bytes from a row to the next, and from U to V.
    struct Chroma {
        long long rowBytes;
        long long planeBytes;
    };

    CFfmpegVideoTransform();

    void MakeCropBuffer(unsigned int inColorSpace);
    bool MakeScaler();
    void MakeOutput(unsigned int outColorSpace);
    void MakeScaling();
    bool HeightsFit() const;
    /// Makes of `src` the picture that is scaled.
    void CropForScaling(uint8_t* src);
    void CropPlanes(const uint8_t* src, uint8_t* dst, const Chroma& chroma) const;
    void CropPacked(const uint8_t* src, uint8_t* dst, int pixelBytes) const;

    Picture m_Input;
    Picture m_Output;
    CROP_RECT m_CropRect{};
    std::vector<unsigned char> m_CropBuffer;
    ScalerPtr m_pSwsContext;
    int m_SrcLineSizes[4] = {};
    int m_DstLineSizes[4] = {};
    COutputBuffer m_OutputBuffer;
    // The sizes as they were given, and that of the picture which is scaled.
    Size m_InputSize;
    Size m_OutputSize;
    Size m_SourceSize;
    // Not there where no picture is ever scaled, or can be.
    std::optional<TightScaling> m_Scaling;
};
