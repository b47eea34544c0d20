#include "benchmarks/clip.h"

#include <cstdlib>

namespace {

ClipPacket Copy(const AVPacket& packet, const AVStream& stream) {
    ClipPacket copy;
    copy.bytes.assign(packet.data, packet.data + packet.size);
    copy.bytes.resize(copy.bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    copy.size = packet.size;
    copy.isVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    copy.isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    copy.milliseconds = av_rescale_q(packet.pts, stream.time_base, AVRational{1, 1000});
    return copy;
}

}  // namespace

void Check(bool good) {
    if (!good) {
        std::abort();
    }
}

std::string ClipPath(const std::string& name) {
    return std::string(CODRELAY_BENCHMARK_CLIPS "/") + name;
}

Clip ReadClip(const std::string& name) {
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* context = nullptr;
    Check(avformat_open_input(&context, ClipPath(name).c_str(), nullptr, nullptr) == 0);
    Check(avformat_find_stream_info(context, nullptr) >= 0);
    const AVCodecParameters& video = *context->streams[0]->codecpar;
    Clip clip{video.codec_id, video.width, video.height, {}};
    AVPacket packet;
    av_init_packet(&packet);
    while (av_read_frame(context, &packet) >= 0) {
        clip.packets.push_back(Copy(packet, *context->streams[packet.stream_index]));
        av_packet_unref(&packet);
    }
    avformat_close_input(&context);
    Check(!clip.packets.empty());
    return clip;
}
