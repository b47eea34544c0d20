#include "front/registry/media_vocabulary.h"

#include <algorithm>
#include <iterator>

#include "front/registry/codec_names.h"
#include "support/log_front.h"

const int VideoCodecToAvCodecId[7] = {
    AV_CODEC_ID_FLV1,  AV_CODEC_ID_MPEG4, AV_CODEC_ID_H263, AV_CODEC_ID_MJPEG,
    AV_CODEC_ID_MJPEG, AV_CODEC_ID_H264,  AV_CODEC_ID_HEVC,
};

const char* const VideoCodecLogName[10] = {
    "xvide", "xvidf", "thr", "flv", "mpeg4", "h263", "jpeg", "mjpeg", "h264", "h265",
};

namespace {

// Long names, since formats are found by them. Indexed by id.
constexpr const char* kMuxerFormatNames[] = {
    nullptr,      "FLV format",  "MP4 (MPEG-4 Part 14)",          "WebM file format",
    "3GP format", "3GP2 format", "AVI (Audio Video Interleaved)", "MPEG-2 transport stream format"};

struct ColorSpace {
    int id;
    AVPixelFormat format;
};

// Of two ids with one format the first is the one that the reverse look-up gives.
constexpr ColorSpace kColorSpaces[] = {
    {CSP_YUV420P, AV_PIX_FMT_YUV420P}, {CSP_YUV420P_ALT, AV_PIX_FMT_YUV420P}, {CSP_YUYV422, AV_PIX_FMT_YUYV422},
    {CSP_BGR24, AV_PIX_FMT_BGR24},     {CSP_RGB24, AV_PIX_FMT_RGB24},         {CSP_BGRA, AV_PIX_FMT_BGRA},
    {CSP_NV12, AV_PIX_FMT_NV12},
};

// The row whose `field` is `value`, or null.
template <typename Row, std::size_t N, typename Field, typename Value>
const Row* FindRow(const Row (&table)[N], Field Row::*field, Value value) {
    const Row* row = std::find_if(table, table + N, [=](const Row& candidate) { return candidate.*field == value; });
    return row != table + N ? row : nullptr;
}

const char* NamedOrLogged(const char* name, const char* function, int id) {
    if (name == nullptr) {
        FFMPEG_LOG(Error) << function << " " << id << " failed!";
    }
    return name;
}

template <std::size_t N>
const char* LookUp(const char* const (&names)[N], const char* function, int id) {
    const auto index = static_cast<unsigned int>(id);
    return NamedOrLogged(index < N ? names[index] : nullptr, function, id);
}

const char* LookUpAudio(const char* AudioCodec::*name, const char* function, int id) {
    const AudioCodec* codec = FindRow(kAudioCodecs, &AudioCodec::id, id);
    return NamedOrLogged(codec != nullptr ? codec->*name : nullptr, function, id);
}

// Asked for once: FFmpeg's list is long.
const char* H264EncoderName() {
    static const char* const name = StandsInForH264() ? kH264StandIn : kVideoEncoderNames[VIDEO_CODEC_H264];
    return name;
}

}  // namespace

const char* GetMuxerFormatName(int id) {
    return LookUp(kMuxerFormatNames, "GetMuxerFormatName", id);
}

const char* GetFFmpegVideoEncoderName(int id) {
    return id == VIDEO_CODEC_H264 ? H264EncoderName() : LookUp(kVideoEncoderNames, "GetFFmpegVideoEncoderName", id);
}

const char* GetFFmpegVideoDecoderName(int id) {
    return LookUp(kVideoDecoderNames, "GetFFmpegVideoDecoderName", id);
}

const char* GetFFmpegAudioEncoderName(int id) {
    return LookUpAudio(&AudioCodec::encoderName, "GetFFmpegAudioEncoderName", id);
}

const char* GetFFmpegAudioDecoderName(int id) {
    return LookUpAudio(&AudioCodec::decoderName, "GetFFmpegAudioDecoderName", id);
}

AVPixelFormat GetFFmpegPixelFormat(int colorSpace) {
    const ColorSpace* found = FindRow(kColorSpaces, &ColorSpace::id, colorSpace);
    return found != nullptr ? found->format : AV_PIX_FMT_NONE;
}

AVPixelFormat GetFFmpegPixelFormat(AVCodecID codec, int colorSpace) {
    switch (colorSpace) {
        case CSP_YUV420P_ALT:
        case CSP_YUYV422:
            FFMPEG_LOG(Error) << "GetFFmpegPixelFormat " << colorSpace << " failed!";
            return AV_PIX_FMT_NONE;
        case CSP_YUV420P:
            return codec == AV_CODEC_ID_MJPEG ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
        default:
            return GetFFmpegPixelFormat(colorSpace);
    }
}

unsigned int GetInternalPixelFormat(AVPixelFormat format) {
    const ColorSpace* found = FindRow(kColorSpaces, &ColorSpace::format, format);
    return found != nullptr ? static_cast<unsigned int>(found->id) : 0;
}

int GetCspForHwFFmpegPixelFormat(AVPixelFormat /*format*/) {
    return 0;
}

int VideoCodecFromAvCodecId(AVCodecID id) {
    // From the back, so that the format shared by JPEG and MJPEG is the latter.
    const auto last = std::rbegin(VideoCodecToAvCodecId);
    const auto end = std::rend(VideoCodecToAvCodecId);
    const auto found = std::find(last, end, id);
    return found != end ? VIDEO_CODEC_FLV + static_cast<int>(end - found) - 1 : VIDEO_CODEC_NONE;
}

AVCodecID AudioCodecToAvCodecId(int id) {
    const AudioCodec* codec = FindRow(kAudioCodecs, &AudioCodec::id, id);
    return codec != nullptr ? codec->avCodecId : AV_CODEC_ID_NONE;
}

std::vector<int> AudioCodecsFromAvCodecId(AVCodecID id) {
    std::vector<int> ids;
    for (const AudioCodec& codec : kAudioCodecs) {
        if (codec.avCodecId == id) {
            ids.push_back(codec.id);
        }
    }
    return ids;
}
