#include "container/peer_packets.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "common/digest.h"
#include "common/process.h"
#include "support/ffmpeg.h"

namespace {

using Fields = std::map<std::string, std::string>;

std::string OutputOf(const std::string& command) {
    const ProcessResult run = RunCommand(command);
    if (run.exitCode != 0) {
        throw std::runtime_error(command + ": " + run.err);
    }
    return run.out;
}

// The sections of that name, which print as "[NAME]", lines of "key=value", "[/NAME]".
std::vector<Fields> Sections(const std::string& text, const std::string& name) {
    std::vector<Fields> sections;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (line == "[" + name + "]") {
            sections.emplace_back();
        } else if (equals != std::string::npos && !sections.empty()) {
            sections.back()[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    return sections;
}

std::int64_t TimeOf(const std::string& text) {
    return text == "N/A" ? AV_NOPTS_VALUE : std::stoll(text);
}

std::int64_t ToMilliseconds(std::int64_t time, TimeBase base) {
    if (time == AV_NOPTS_VALUE || (base.num == 1 && base.den == 1000)) {
        return time;
    }
    return static_cast<std::int64_t>(static_cast<double>(base.num) / static_cast<double>(base.den) *
                                     static_cast<double>(time * 1000));
}

auto Tied(const PacketFacts& packet) {
    return std::tie(packet.stream, packet.pts, packet.dts, packet.size, packet.key, packet.md5);
}

}  // namespace

bool PacketFacts::operator==(const PacketFacts& other) const {
    return Tied(*this) == Tied(other);
}

void PrintTo(const PacketFacts& packet, std::ostream* out) {
    *out << "stream " << packet.stream << " pts " << packet.pts << " dts " << packet.dts << " size " << packet.size
         << " key " << packet.key << " md5 " << packet.md5;
}

PacketFacts FactsOf(const DEMUXER_PACKET& packet) {
    return {packet.streamIndex, packet.pts,      packet.dts,
            packet.size,        packet.keyFrame, Md5Of(packet.data, static_cast<std::size_t>(packet.size))};
}

std::vector<PacketFacts> OfStream(const std::vector<PacketFacts>& packets, int stream) {
    std::vector<PacketFacts> found;
    std::copy_if(packets.begin(), packets.end(), std::back_inserter(found),
                 [stream](const PacketFacts& packet) { return packet.stream == stream; });
    return found;
}

// The command of FFmpeg 7 cuts WAV by its rate unless told to do as those before it.
std::vector<PacketFacts> PeerPackets(const std::string& path) {
    const bool isWav = path.size() > 4 && path.compare(path.size() - 4, 4, ".wav") == 0;
    const std::string text = OutputOf(std::string("ffprobe -v error ") + (isWav ? "-max_size 4096 " : "") +
                                      "-show_entries packet=stream_index,pts,dts,size,flags,data_hash "
                                      "-show_data_hash md5 '" +
                                      path + "'");
    std::vector<PacketFacts> packets;
    for (Fields& fields : Sections(text, "PACKET")) {
        packets.push_back({std::stoi(fields["stream_index"]), TimeOf(fields["pts"]), TimeOf(fields["dts"]),
                           std::stoi(fields["size"]), fields["flags"][0] == 'K' ? 1U : 0U,
                           fields["data_hash"].substr(std::string("MD5:").size())});
    }
    return packets;
}

std::vector<TimeBase> PeerTimeBases(const std::string& path) {
    std::vector<TimeBase> bases;
    for (Fields& fields :
         Sections(OutputOf("ffprobe -v error -show_entries stream=index,time_base '" + path + "'"), "STREAM")) {
        const std::string base = fields["time_base"];
        bases.push_back({std::stoi(base), std::stoi(base.substr(base.find('/') + 1))});
    }
    return bases;
}

std::vector<PeerBytes> PeerAnnexB(const std::string& path, int stream) {
    std::istringstream lines(OutputOf("ffmpeg -nostdin -v error -i '" + path + "' -map 0:" + std::to_string(stream) +
                                      " -c copy -bsf:v h264_mp4toannexb -f framemd5 -"));
    std::vector<PeerBytes> packets;
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == '#') {
            continue;
        }
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream fields(line);
        std::string skipped;
        PeerBytes packet{};
        fields >> skipped >> skipped >> skipped >> skipped >> packet.size >> packet.md5;
        packets.push_back(packet);
    }
    return packets;
}

std::vector<PacketFacts> InMilliseconds(std::vector<PacketFacts> packets, const std::vector<TimeBase>& timeBases) {
    for (PacketFacts& packet : packets) {
        const TimeBase base = timeBases.at(static_cast<std::size_t>(packet.stream));
        packet.pts = ToMilliseconds(packet.pts, base);
        packet.dts = ToMilliseconds(packet.dts, base);
    }
    return packets;
}

std::vector<PacketFacts> WithBytes(std::vector<PacketFacts> packets, int stream, const std::vector<PeerBytes>& bytes) {
    auto next = bytes.begin();
    for (PacketFacts& packet : packets) {
        if (packet.stream == stream) {
            if (next == bytes.end()) {
                throw std::runtime_error("the peer's filter gives fewer packets than the stream has");
            }
            packet.size = next->size;
            packet.md5 = next->md5;
            ++next;
        }
    }
    return packets;
}
