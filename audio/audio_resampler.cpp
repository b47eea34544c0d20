#include "audio/audio_resampler.h"

#include <algorithm>
#include <limits>
#include <new>

#include "audio/audio_format_av.h"
#include "front/registry/ffmpeg_registry.h"
#include "support/delete_object.h"
#include "support/log_front.h"

namespace {

constexpr unsigned int kLargestInt = std::numeric_limits<int>::max();

unsigned int BytesPerSample(AVSampleFormat format) {
    return static_cast<unsigned int>(av_get_bytes_per_sample(format));
}

// A host may pass any format; no quotient counts as 0.
unsigned int Quotient(unsigned int dividend, unsigned int divisor) {
    return divisor != 0 ? dividend / divisor : 0;
}

}  // namespace

CAudioResamplerBase::~CAudioResamplerBase() = default;

CAudioResampler::CAudioResampler() = default;
CAudioResampler::~CAudioResampler() = default;

void CAudioResampler::Delete() {
    DeleteUnlessNull(this);
}

const AUDIO_FORMAT* CAudioResampler::GetInFormat() {
    return &m_InFormat;
}

const AUDIO_FORMAT* CAudioResampler::GetOutFormat() {
    return &m_OutFormat;
}

int64_t CAudioResampler::ConvertToFFmpegAudioLayout(int channels) {
    switch (channels) {
        case 1:
            return AV_CH_LAYOUT_MONO;
        case 2:
            return AV_CH_LAYOUT_STEREO;
        default:
            return 0;
    }
}

CAudioResampler::Side::Side(const AUDIO_FORMAT& audioFormat)
    : format(AudioFormatToAv(audioFormat.sampleFormat)),
      layout(ConvertToFFmpegAudioLayout(audioFormat.channels)),
      planar(av_sample_fmt_is_planar(format) != 0),
      channels(static_cast<unsigned int>(audioFormat.channels)),
      sampleRate(static_cast<unsigned int>(audioFormat.sampleRate)),
      frameBytes(BytesPerSample(format) * channels),
      byteRate(channels * sampleRate * (BytesPerSample(format) * 8) / 8) {}

bool CAudioResampler::Create(const AUDIO_FORMAT* in, const AUDIO_FORMAT* out, unsigned int inBufLen,
                             unsigned int& outBufLen) {
    if (in == nullptr || out == nullptr) {
        FFMPEG_LOG(Error) << "CAudioResampler::Create: missing input params!";
        return false;
    }
    CMutexLocker lock(GetMainFfmpegCodecLib(), true);
    const Side inSide(*in);
    const Side outSide(*out);
    const AUDIO_FORMAT outFormat = *out;  // the host may hand over our own formats, swapped
    m_InFormat = *in;
    m_OutFormat = outFormat;
    if (!inSide.IsComplete() || !outSide.IsComplete() || inBufLen == 0) {
        FFMPEG_LOG(Error) << "CAudioResampler::Create: incorrect format params!";
        return false;
    }
    try {
        if (!OpenResampler(inSide, outSide) || !SizeBuffers(inSide, outSide, inBufLen)) {
            swr_free(&m_pResampler);
            return false;
        }
    } catch (const std::bad_alloc&) {
        swr_free(&m_pResampler);
        throw;
    }
    m_bNeedsSecondPlane = inSide.NeedsSecondPlane() || outSide.NeedsSecondPlane();
    outBufLen = m_nOutBufLen;
    return true;
}

bool CAudioResampler::OpenResampler(const Side& in, const Side& out) {
    swr_free(&m_pResampler);
    m_pResampler = swr_alloc_set_opts(nullptr, out.layout, out.format, static_cast<int>(out.sampleRate), in.layout,
                                      in.format, static_cast<int>(in.sampleRate), 0, nullptr);
    if (m_pResampler == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioResampler::Create: resampler alloc error!";
        return false;
    }
    const int result = swr_init(m_pResampler);
    if (result != 0) {
        FFMPEG_LOG(Critical) << "CAudioResampler::Create: resampler init error: " << result;
    }
    return result == 0;
}

// Hosts rely on the very numbers: two estimates, each in 32 bits that may wrap, of which the larger counts.
bool CAudioResampler::SizeBuffers(const Side& in, const Side& out, unsigned int inBufLen) {
    if (in.frameBytes == 0 || in.sampleRate == 0) {
        FFMPEG_LOG(Critical) << "CAudioResampler::Create: wrong input format";
        return false;
    }
    const unsigned int inSamples = (inBufLen + in.frameBytes - 1) / in.frameBytes;
    const unsigned int outSamples = (inSamples * out.sampleRate + in.sampleRate) / in.sampleRate;
    const unsigned int bySamples = std::max((2 * outSamples + 10000) * out.frameBytes, 4 * out.frameBytes) + 16384;
    if (bySamples > kLargestInt) {
        FFMPEG_LOG(Critical) << "CAudioResampler::Create: Out buffer sizes too large";
        return false;
    }
    if (in.byteRate == 0) {  // wrapped
        FFMPEG_LOG(Critical) << "CAudioResampler::Create: wrong input format";
        return false;
    }
    const unsigned int byByteRate = out.byteRate * inBufLen / in.byteRate + 32768;
    m_nInBufLen = inBufLen;
    m_nOutBufLen = std::max(bySamples, byByteRate);
    m_nInFrameBytes = in.frameBytes;
    m_nOutFrameBytes = out.frameBytes;
    return true;
}

void CAudioResampler::Destroy() {
    CMutexLocker lock(GetMainFfmpegCodecLib(), true);
    swr_free(&m_pResampler);
}

bool CAudioResampler::Resample(unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int& outLen) {
    const unsigned int inCount = Quotient(inLen, m_nInFrameBytes);
    // Divided by the channels once more than the frames ask for: hosts know a stereo output to fill half of its room.
    const unsigned int outCount =
        Quotient(Quotient(m_nOutBufLen, static_cast<unsigned int>(m_OutFormat.channels)), m_nOutFrameBytes);
    const int result = Convert(in, inCount, out, std::min(outCount, kLargestInt));
    if (result < 0) {
        FFMPEG_LOG(Error) << "CAudioResampler::Resample: error!";
        return false;
    }
    outLen = static_cast<unsigned int>(result) * m_nOutFrameBytes;
    return true;
}

int CAudioResampler::Convert(const uint8_t* in, unsigned int inCount, uint8_t* out, unsigned int outCount) {
    const bool buffersFit = out != nullptr && (in != nullptr || inCount == 0) && inCount <= kLargestInt;
    if (m_pResampler == nullptr || m_bNeedsSecondPlane || !buffersFit) {
        return AVERROR(EINVAL);
    }
    return swr_convert(m_pResampler, &out, static_cast<int>(outCount), &in, static_cast<int>(inCount));
}
