#include "audio/audio_decoder.h"

#include <iomanip>
#include <new>

#include "audio/aac_config.h"
#include "audio/audio_format_av.h"
#include "audio/audio_resampler.h"
#include "audio/codec_name.h"
#include "audio/g726_config.h"
#include "front/registry/ffmpeg_registry.h"
#include "front/registry/media_vocabulary.h"
#include "support/codec_context.h"
#include "support/delete_object.h"
#include "support/ffmpeg_error.h"
#include "support/log_front.h"

namespace {

struct HexByte {
    unsigned char value;
};

std::ostream& operator<<(std::ostream& out, HexByte byte) {
    return out << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(byte.value);
}

}  // namespace

CAudioDecoderBase::~CAudioDecoderBase() = default;

CAudioDecoder::CAudioDecoder(int id, const char* name) : m_nId(id), m_sName(KeptCodecName(name)) {}

CAudioDecoder::~CAudioDecoder() = default;

void CAudioDecoder::Delete() {
    DeleteUnlessNull(this);
}

int CAudioDecoder::GetMinOutBufLen() {
    return 384000;
}

int CAudioDecoder::GetMpegIndexFromSampleRate(int sampleRate) {
    return MpegIndexFromSampleRate(sampleRate);
}

bool CAudioDecoder::CreateDecoder(int channels, int sampleRate, int& sampleFormat, unsigned char* /*extraData*/,
                                  unsigned int /*extraDataLen*/) {
    CMutexLocker lock(GetMainFfmpegCodecLib(), true);
    const AVCodecID codecId = AudioCodecToAvCodecId(m_nId);
    if (codecId == AV_CODEC_ID_NONE) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::CreateDecoder: can't find CodecId " << m_nId;
        return false;
    }
    if (m_bCreated) {
        FFMPEG_LOG(Warning) << "CAudioDecoder::CreateDecoder: Already created!";
        return false;
    }
    m_bOpened = false;
    try {
        if (!AllocatePacket()) {
            return false;
        }
        if (!OpenDecoder(codecId, channels, sampleRate, sampleFormat)) {
            Destroy(0);
            return false;
        }
    } catch (const std::bad_alloc&) {
        Release();
        throw;
    }
    m_bCreated = true;
    return true;
}

bool CAudioDecoder::AllocatePacket() {
    m_pPacket = av_packet_alloc();
    if (m_pPacket == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::CreateDecoder: could not allocate audio packet";
    }
    return m_pPacket != nullptr;
}

bool CAudioDecoder::OpenDecoder(AVCodecID codecId, int channels, int sampleRate, int& sampleFormat) {
    const AVCodec* codec = FindDecoder(codecId);
    if (codec == nullptr || !AllocateContext(codec, channels, sampleRate) || !ConfigureCodec(codecId, channels) ||
        !OpenContext(codec)) {
        return false;
    }
    // Always the packed twin of what the codec produces.
    const AVSampleFormat packed = av_get_packed_sample_fmt(m_pCodecContext->sample_fmt);
    if (av_sample_fmt_is_planar(m_pCodecContext->sample_fmt) != 0 && channels >= 2 &&
        !CreateResampler(packed, channels, sampleRate)) {
        return false;
    }
    sampleFormat = AudioFormatFromAv(packed);
    if (sampleFormat == 0) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::CreateDecoder: get audio format error!";
        return false;
    }
    FFMPEG_LOG(Info) << "CAudioDecoder::CreateDecoder: codecName = " << m_sName
                     << ", sampleRate = " << m_pCodecContext->sample_rate
                     << ", channels = " << ChannelsOf(m_pCodecContext) << ", sampleFmt = " << sampleFormat;
    return true;
}

FfmpegCodec* CAudioDecoder::FindDecoder(AVCodecID codecId) const {
    FfmpegCodec* codec = GetMainFfmpegCodecLib()->FindCodec(codecId, m_sName.c_str(), 0);
    if (codec == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::CreateDecoder: codec not found: " << m_sName
                             << " (id: " << static_cast<int>(codecId) << ")";
    }
    return codec;
}

bool CAudioDecoder::AllocateContext(const AVCodec* codec, int channels, int sampleRate) {
    m_pCodecContext = avcodec_alloc_context3(codec);
    if (m_pCodecContext == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::CreateDecoder: could not allocate audio codec context";
        return false;
    }
    SetDefaultLayout(m_pCodecContext, channels);
    m_pCodecContext->sample_rate = sampleRate;
    return true;
}

bool CAudioDecoder::ConfigureCodec(AVCodecID codecId, int channels) {
    switch (codecId) {
        case AV_CODEC_ID_AAC:
            return ConfigureAac(channels);
        case AV_CODEC_ID_ADPCM_G726:
            return ConfigureG726(m_nId, m_pCodecContext);
        default:
            return true;
    }
}

bool CAudioDecoder::ConfigureAac(int channels) {
    m_pAacConfig = static_cast<unsigned char*>(av_malloc(kAacConfigRoom));
    if (m_pAacConfig == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::CreateDecoder: alloc extra data error!";
        return false;
    }
    m_pCodecContext->extradata = m_pAacConfig;
    m_pCodecContext->extradata_size = kAacConfigSize;
    WriteAacConfig(m_pAacConfig, GetMpegIndexFromSampleRate(m_pCodecContext->sample_rate), channels);
    FFMPEG_LOG(Info) << "CAudioDecoder: AAC extradata " << HexByte{m_pAacConfig[0]} << " " << HexByte{m_pAacConfig[1]};
    return true;
}

bool CAudioDecoder::OpenContext(const AVCodec* codec) {
    const int result = avcodec_open2(m_pCodecContext, codec, nullptr);
    if (result < 0) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::CreateDecoder: could not open codec: "
                             << FfmpegErrorText(result).c_str();
        return false;
    }
    m_bOpened = true;
    return true;
}

// The lines bear the resampler's name; readers of the log look for them.
bool CAudioDecoder::CreateResampler(AVSampleFormat packed, int channels, int sampleRate) {
    const int64_t layout = CAudioResampler::ConvertToFFmpegAudioLayout(channels);
    m_nResamplerChannels = channels;
    m_nResamplerFormat = m_pCodecContext->sample_fmt;
    m_pResampler =
        swr_alloc_set_opts(nullptr, layout, packed, sampleRate, layout, m_nResamplerFormat, sampleRate, 0, nullptr);
    if (m_pResampler == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioResampler::Create: resampler alloc error!";
        return false;
    }
    const int result = swr_init(m_pResampler);
    if (result != 0) {
        FFMPEG_LOG(Critical) << "CAudioResampler::Create: resampler init error: " << result;
        return false;
    }
    return true;
}

void CAudioDecoder::DestroyDecoder() {
    Destroy(1);
}

void CAudioDecoder::Destroy(unsigned int lock) {
    CMutexLocker locker(GetMainFfmpegCodecLib(), lock != 0);
    m_bCreated = false;
    try {
        FFMPEG_LOG(Trace) << "CAudioDecoder::Destroy()";
    } catch (const std::bad_alloc&) {
        Release();
        throw;
    }
    Release();
}

// Writes no line and throws nothing.
void CAudioDecoder::Release() {
    swr_free(&m_pResampler);
    CloseContext();
    av_packet_free(&m_pPacket);
    av_frame_free(&m_pFrame);
    av_freep(&m_pAacConfig);
}

void CAudioDecoder::CloseContext() {
    if (m_pCodecContext == nullptr) {
        return;
    }
    m_pCodecContext->extradata = nullptr;  // the configuration is ours
    FreeCodecContext(&m_pCodecContext, m_bOpened);
}
