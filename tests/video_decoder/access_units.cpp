#include "video_decoder/access_units.h"

#include <memory>
#include <stdexcept>

#include "support/ffmpeg.h"

namespace {

struct CloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using Input = std::unique_ptr<AVFormatContext, CloseInput>;

Input Open(const std::string& path) {
    AVFormatContext* input = nullptr;
    if (avformat_open_input(&input, path.c_str(), nullptr, nullptr) < 0) {
        throw std::runtime_error("libavformat does not open " + path);
    }
    return Input(input);
}

int FirstVideoStream(AVFormatContext* input) {
    if (avformat_find_stream_info(input, nullptr) < 0) {
        throw std::runtime_error("libavformat finds no streams");
    }
    return av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
}

}  // namespace

std::vector<AccessUnit> AccessUnits(const std::string& path) {
    const Input input = Open(path);
    const int video = FirstVideoStream(input.get());
    std::vector<AccessUnit> units;
    AVPacket packet;
    av_init_packet(&packet);
    while (av_read_frame(input.get(), &packet) == 0) {
        if (packet.stream_index == video) {
            units.emplace_back(packet.data, packet.data + packet.size);
        }
        av_packet_unref(&packet);
    }
    return units;
}
