#include "container/stream_query.h"

#include <vector>

#include "audio/audio_format_av.h"
#include "front/registry/media_vocabulary.h"

namespace {

StreamParameters* CodecOfType(const AVFormatContext* context, int index, AVMediaType type) {
    StreamParameters* codec = StreamCodec(context, index);
    return codec != nullptr && codec->codec_type == type ? codec : nullptr;
}

}  // namespace

StreamParameters* StreamCodec(const AVFormatContext* context, int index) {
    return index >= 0 && index < StreamCount(context) ? ParametersOf(context->streams[index]) : nullptr;
}

int StreamCount(const AVFormatContext* context) {
    return context != nullptr ? static_cast<int>(context->nb_streams) : 0;
}

int StreamType(const AVFormatContext* context, int index) {
    if (CodecOfType(context, index, AVMEDIA_TYPE_VIDEO) != nullptr) {
        return 1;
    }
    return CodecOfType(context, index, AVMEDIA_TYPE_AUDIO) != nullptr ? 2 : 0;
}

bool VideoStreamInfo(const AVFormatContext* context, int index, int* codecId) {
    const StreamParameters* codec = CodecOfType(context, index, AVMEDIA_TYPE_VIDEO);
    if (codec == nullptr) {
        return false;
    }
    *codecId = VideoCodecFromAvCodecId(codec->codec_id);
    return true;
}

bool AudioStreamInfo(const AVFormatContext* context, int index, int* codecId, AUDIO_FORMAT* format) {
    const StreamParameters* codec = CodecOfType(context, index, AVMEDIA_TYPE_AUDIO);
    if (codec == nullptr) {
        return false;
    }
    const std::vector<int> ids = AudioCodecsFromAvCodecId(codec->codec_id);
    *codecId = ids.size() == 1 ? ids.front() : -1;
    format->sampleRate = codec->sample_rate;
    format->channels = ChannelsOf(codec);
    format->sampleFormat = AudioFormatFromAv(SampleFormatOf(codec));
    return true;
}
