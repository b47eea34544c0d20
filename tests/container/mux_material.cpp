#include "container/mux_material.h"

#include <map>
#include <sstream>
#include <stdexcept>

#include "common/process.h"
#include "support/ffmpeg.h"

std::vector<Block> ReadBlocks(const std::string& path) {
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) {
        throw std::runtime_error("cannot open " + path);
    }
    avformat_find_stream_info(context, nullptr);
    std::vector<Block> blocks;
    AVPacket packet;
    av_init_packet(&packet);
    while (av_read_frame(context, &packet) >= 0) {
        if (packet.stream_index == 0) {
            blocks.push_back({{packet.data, packet.data + packet.size}, (packet.flags & AV_PKT_FLAG_KEY) != 0});
        }
        av_packet_unref(&packet);
    }
    avformat_close_input(&context);
    return blocks;
}

namespace {

std::string Probe(const std::string& arguments, const std::string& path) {
    const ProcessResult result = RunCommand("ffprobe -v error " + arguments + " '" + path + "'");
    if (result.exitCode != 0 || !result.err.empty()) {
        throw std::runtime_error("ffprobe on " + path + ": " + result.err);
    }
    return result.out;
}

std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream rest(line);
    for (std::string field; std::getline(rest, field, ',');) {
        fields.push_back(field);
    }
    return fields;
}

// Name and type, of sound rate and channels, and the length of the header where there is one.
PeerStream StreamOf(const std::vector<std::string>& fields) {
    PeerStream stream{fields[0], fields[1] == "video", 0, 0, 0, {}, {}, 0};
    std::size_t next = 2;
    if (!stream.isVideo) {
        stream.sampleRate = std::stoi(fields.at(next++));
        stream.channels = std::stoi(fields.at(next++));
    }
    stream.headerBytes = next < fields.size() ? std::stoi(fields[next]) : 0;
    return stream;
}

}  // namespace

std::vector<PeerStream> PeerStreams(const std::string& path) {
    std::map<int, PeerStream> byIndex;
    std::map<int, std::vector<std::vector<std::string>>> packets;
    std::istringstream lines(
        Probe("-show_entries stream=index,codec_name,codec_type,sample_rate,channels,extradata_size"
              ":packet=stream_index,pts,dts,size -of csv",
              path));
    for (std::string line; std::getline(lines, line);) {
        // Streams of a program are told once more, under its name.
        const std::vector<std::string> fields = Fields(line);
        if (fields.size() >= 5 && fields[0] == "packet") {
            packets[std::stoi(fields[1])].push_back(fields);
        } else if (fields.size() >= 4 && fields[0] == "stream") {
            byIndex[std::stoi(fields[1])] = StreamOf({fields.begin() + 2, fields.end()});
        }
    }
    std::vector<PeerStream> streams;
    for (auto& [index, stream] : byIndex) {
        for (const std::vector<std::string>& fields : packets[index]) {
            stream.pts.push_back(std::stoll(fields[2] == "N/A" ? fields[3] : fields[2]));
            stream.dts.push_back(std::stoll(fields[3]));
            stream.bytes += std::stoll(fields[4]);
        }
        streams.insert(stream.isVideo ? streams.begin() : streams.end(), std::move(stream));
    }
    return streams;
}

std::vector<std::string> PeerCodecs(const std::string& path) {
    std::istringstream lines(
        RunCommand("ffprobe -v quiet -show_entries stream=index,codec_name,codec_type -of csv=p=0 '" + path + "'").out);
    std::map<int, std::string> byIndex;
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> fields = Fields(line);
        if (fields.size() >= 3) {
            byIndex[std::stoi(fields[0])] = fields[1];
        }
    }
    std::vector<std::string> codecs;
    for (const auto& [index, codec] : byIndex) {
        codecs.push_back(codec);
    }
    return codecs;
}

std::string PeerDecodeErrors(const std::string& path) {
    // The sound's times are replaced: they are judged elsewhere, and the command's own output would complain of a tick
    // a block.
    return RunCommand("ffmpeg -nostdin -v error -i '" + path + "' -af asetpts=N -f null -").err;
}
