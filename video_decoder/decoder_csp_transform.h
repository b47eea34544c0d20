#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "support/ffmpeg.h"
#include "support/padded_picture.h"
#include "support/scaler.h"

/// One side of a conversion.
struct DecoderCspParams {
    int32_t fmt = -1;  // AVPixelFormat
    int32_t w = 0;
    int32_t h = 0;
};

bool operator==(const DecoderCspParams& a, const DecoderCspParams& b);
std::ostream& operator<<(std::ostream& out, const DecoderCspParams& params);

/// Converts decoded pictures to the format of their decoder, into tight rows. Keeps its scaler for as long as formats
/// and sizes stay the same.
class DecoderCspTransform {
public:
    /// Converts `src` into `dst`, which has room for `dstSize` bytes. False, and a log line, where it cannot be done.
    bool Transform(const AVFrame* src, unsigned char* dst, unsigned long long dstSize,
                   const DecoderCspParams& dstParams);
    /// Arms the transform for one source and target. REQUIRES: no scaler at present.
    bool CreateTransform(const DecoderCspParams& src, const DecoderCspParams& dst);

private:
    bool ArmFor(const DecoderCspParams& src, const DecoderCspParams& dst);
    bool HasPadding();
    bool Scale(const AVFrame* src, unsigned char* dst);
    void CountFrame();

    ScalerPtr m_pSwsContext;
    DecoderCspParams m_Src;
    DecoderCspParams m_Dst;
    uint64_t m_nOutputSize = 0;
    int m_DstLinesizes[4] = {};
    uint32_t m_nFrames = 0;
    std::string m_strName = "DecoderCspTransform";
    // Where the rows of the target would be too tight for the scaler.
    std::optional<PaddedPicture> m_Padded;
};
