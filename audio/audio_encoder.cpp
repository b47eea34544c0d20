#include "audio/audio_encoder.h"

#include <new>

#include "audio/audio_format_av.h"
#include "audio/codec_name.h"
#include "front/registry/ffmpeg_registry.h"
#include "support/codec_context.h"
#include "support/delete_object.h"
#include "support/log_front.h"

namespace {

constexpr unsigned int kDefaultBitRate = 0x30000;
constexpr int64_t kLeastAacBitRate = 5;  // of a channel

// FFmpeg's AAC encoder refuses a rate that leaves it no bandwidth, but crashes where it cleans up after that.
bool LeavesBandwidth(const AVCodecContext& context) {
    const int channels = ChannelsOfLayout(&context);
    return context.codec_id != AV_CODEC_ID_AAC || context.bit_rate / channels >= kLeastAacBitRate;
}

}  // namespace

CAudioEncoderBase::~CAudioEncoderBase() = default;

CAudioEncoder::CAudioEncoder(AVCodecID id, const char* name) : m_nCodecId(id), m_sName(KeptCodecName(name)) {}

CAudioEncoder::~CAudioEncoder() = default;

void CAudioEncoder::Delete() {
    DeleteUnlessNull(this);
}

int CAudioEncoder::GetSupportedFormats() {
    switch (m_nCodecId) {
        case AV_CODEC_ID_PCM_S16LE:
            return AUDIO_SAMPLE_S16;
        case AV_CODEC_ID_MP3:
            return AUDIO_SAMPLE_S16 | AUDIO_SAMPLE_S32;
        case AV_CODEC_ID_AAC:
            return AUDIO_SAMPLE_FLT;
        default:
            return 0;
    }
}

int CAudioEncoder::GetDefaultFormat() {
    switch (m_nCodecId) {
        case AV_CODEC_ID_PCM_S16LE:
        case AV_CODEC_ID_MP3:
            return AUDIO_SAMPLE_S16;
        case AV_CODEC_ID_AAC:
            return AUDIO_SAMPLE_FLT;
        default:
            return 0;
    }
}

int CAudioEncoder::GetMinOutBufLen() {
    return 16384;
}

int CAudioEncoder::GetAuxValue() {
    return 0;
}

int CAudioEncoder::IsCreated() {
    return m_nCreated;
}

bool CAudioEncoder::CreateEncoder(const AUDIO_FORMAT* format, unsigned int bitrate) {
    CMutexLocker lock(GetMainFfmpegCodecLib(), true);
    if (m_nCreated == 1) {
        FFMPEG_LOG(Warning) << "CAudioEncoder::CreateEncoder: Already created!";
        return false;
    }
    if ((format->sampleFormat & GetSupportedFormats()) == 0) {
        FFMPEG_LOG(Error) << "CAudioEncoder::CreateEncoder: Unsupported input format!";
        return false;
    }
    m_nBitRate = static_cast<int>(bitrate != 0 ? bitrate : kDefaultBitRate);
    try {
        if (OpenEncoder(m_nCodecId, format) == 0) {
            FFMPEG_LOG(Critical) << "CAudioEncoder::CreateEncoder: Open encoder error!";
            Destroy(0);
            return false;
        }
    } catch (const std::bad_alloc&) {
        Destroy(0);
        throw;
    }
    m_nCreated = 1;
    return true;
}

int CAudioEncoder::OpenEncoder(AVCodecID id, const AUDIO_FORMAT* format) {
    m_nOpened = 0;
    FfmpegCodec* codec = GetMainFfmpegCodecLib()->FindCodec(id, m_sName.c_str(), 1);
    if (codec == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioEncoder::OpenEncoder: find codec " << static_cast<int>(id) << ", " << m_sName
                             << "error!";
        return 0;
    }
    m_pCodecContext = avcodec_alloc_context3(nullptr);
    if (m_pCodecContext == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioEncoder::OpenEncoder: alloc context error!";
        return 0;
    }
    if (!FillContext(codec, id, format) || !LeavesBandwidth(*m_pCodecContext) ||
        OpenSoundEncoder(m_pCodecContext, codec) < 0) {
        FFMPEG_LOG(Critical) << "CAudioEncoder::OpenEncoder: avcodec open error. sampleRate = " << format->sampleRate
                             << ", channels = " << format->channels << ", sampleFormat = " << format->sampleFormat;
        return 0;
    }
    m_nOpened = 1;
    m_pFrame = av_frame_alloc();
    if (m_pFrame == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioEncoder::OpenEncoder: alloc frame error!";
        return 0;
    }
    DescribeSound(m_pFrame, m_pCodecContext);
    m_Staging.Open(m_pCodecContext);
    m_nResyncThreshold = format->sampleRate;
    return 1;
}

bool CAudioEncoder::FillContext(const AVCodec* codec, AVCodecID id, const AUDIO_FORMAT* format) {
    m_pCodecContext->codec_id = id;
    m_pCodecContext->codec_type = AVMEDIA_TYPE_AUDIO;
    m_pCodecContext->bit_rate = m_nBitRate;
    m_pCodecContext->sample_rate = format->sampleRate;
    m_pCodecContext->sample_fmt = FormatForEncoder(codec, AudioFormatToAv(format->sampleFormat));
    m_pCodecContext->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    // Stereo for every other number too, which does not fit.
    return SetLayout(m_pCodecContext, format->channels,
                     format->channels == 1 ? AV_CH_LAYOUT_MONO : AV_CH_LAYOUT_STEREO);
}

void CAudioEncoder::DestroyEncoder() {
    Destroy(1);
}

void CAudioEncoder::Destroy(unsigned int lock) {
    CMutexLocker locker(GetMainFfmpegCodecLib(), lock != 0);
    m_nCreated = 0;
    av_frame_free(&m_pFrame);
    FreeCodecContext(&m_pCodecContext, m_nOpened != 0);
    m_Staging.Close();
}
