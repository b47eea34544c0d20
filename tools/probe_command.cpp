#include "probe_command.h"

#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "library_session.h"
#include "media_names.h"
#include "packet_source.h"
#include "picture_size.h"
#include "table.h"
#include "video_input.h"

namespace {

struct ProbeOptions {
    std::string file;
    bool packets = false;
    bool json = false;
    std::string logLevel;
};

struct StreamReport {
    StreamInfo info;
    /// Of a video stream that the library decodes.
    std::unique_ptr<PictureSizeFinder> sizeFinder;
    long long packets = 0;
    /// Presentation times of the first and the last packet, in the order of the file.
    std::optional<long long> first;
    std::optional<long long> last;

    std::optional<PictureSize> Size() const { return sizeFinder ? sizeFinder->Size() : std::nullopt; }
};

std::string TypeName(StreamType type) {
    return type == StreamType::Video ? "video" : type == StreamType::Audio ? "audio" : "other";
}

std::string CodecName(const StreamInfo& stream) {
    return stream.type == StreamType::Audio ? AudioCodecName(stream.codecId) : VideoCodecName(stream.codecId);
}

std::string TimeText(long long time, const char* none) {
    return time == kNoTime ? none : std::to_string(time);
}

std::vector<StreamReport> StartReports(LibrarySession& session, const PacketSource& source) {
    std::vector<StreamReport> reports;
    for (const StreamInfo& stream : source.Streams()) {
        StreamReport report;
        report.info = stream;
        if (stream.type == StreamType::Video && CanDecode(stream.codecId)) {
            report.sizeFinder = std::make_unique<PictureSizeFinder>(session, stream.codecId);
        }
        reports.push_back(std::move(report));
    }
    return reports;
}

void Count(const DEMUXER_PACKET& packet, StreamReport& report) {
    ++report.packets;
    if (packet.pts != kNoTime) {
        report.first = report.first.value_or(packet.pts);
        report.last = packet.pts;
    }
    if (report.sizeFinder) {
        report.sizeFinder->Feed(packet);
    }
}

void PrintPacket(const DEMUXER_PACKET& packet) {
    std::cout << packet.streamIndex << "\t" << TimeText(packet.pts, "-") << "\t" << TimeText(packet.dts, "-") << "\t"
              << packet.size << "\t" << packet.keyFrame << "\n";
}

void PrintPacketAsJson(const DEMUXER_PACKET& packet, bool isFirst) {
    std::cout << (isFirst ? "\n" : ",\n") << R"(    {"stream": )" << packet.streamIndex << R"(, "pts_ms": )"
              << TimeText(packet.pts, "null") << R"(, "dts_ms": )" << TimeText(packet.dts, "null") << R"(, "size": )"
              << packet.size << R"(, "key": )" << (packet.keyFrame != 0 ? "true" : "false") << "}";
}

void PrintTable(const std::vector<StreamReport>& reports) {
    Table table({"stream", "type", "codec", "size", "rate", "channels", "packets", "first_ms", "last_ms"});
    for (const StreamReport& report : reports) {
        const bool isAudio = report.info.type == StreamType::Audio;
        table.AddRow({std::to_string(report.info.index), TypeName(report.info.type), CodecName(report.info),
                      report.Size() ? SizeText(*report.Size()) : "-",
                      isAudio ? std::to_string(report.info.audio.sampleRate) : "-",
                      isAudio ? std::to_string(report.info.audio.channels) : "-", std::to_string(report.packets),
                      TimeText(report.first.value_or(kNoTime), "-"), TimeText(report.last.value_or(kNoTime), "-")});
    }
    table.Print();
}

void PrintStreamAsJson(const StreamReport& report) {
    std::cout << R"(    {"index": )" << report.info.index << R"(, "type": ")" << TypeName(report.info.type)
              << R"(", "codec": ")" << CodecName(report.info) << R"(")";
    if (report.info.type == StreamType::Video) {
        const auto size = report.Size();
        std::cout << R"(, "width": )" << (size ? std::to_string(size->width) : "null") << R"(, "height": )"
                  << (size ? std::to_string(size->height) : "null");
    } else if (report.info.type == StreamType::Audio) {
        std::cout << R"(, "rate": )" << report.info.audio.sampleRate << R"(, "channels": )"
                  << report.info.audio.channels;
    }
    std::cout << R"(, "packets": )" << report.packets << R"(, "first_ms": )"
              << TimeText(report.first.value_or(kNoTime), "null") << R"(, "last_ms": )"
              << TimeText(report.last.value_or(kNoTime), "null") << "}";
}

void PrintStreamsAsJson(const std::vector<StreamReport>& reports) {
    std::cout << "  \"streams\": [";
    for (std::size_t i = 0; i < reports.size(); ++i) {
        std::cout << (i == 0 ? "\n" : ",\n");
        PrintStreamAsJson(reports[i]);
    }
    std::cout << "\n  ]\n}\n";
}

void ProbeAsText(const ProbeOptions& options, PacketSource& source, std::vector<StreamReport>& reports) {
    source.ReadAll([&](const DEMUXER_PACKET& packet) {
        Count(packet, reports.at(static_cast<std::size_t>(packet.streamIndex)));
        if (options.packets) {
            PrintPacket(packet);
        }
    });
    PrintTable(reports);
}

void ProbeAsJson(const ProbeOptions& options, PacketSource& source, std::vector<StreamReport>& reports) {
    std::cout << "{\n" << (options.packets ? "  \"packets\": [" : "");
    bool isFirst = true;
    source.ReadAll([&](const DEMUXER_PACKET& packet) {
        Count(packet, reports.at(static_cast<std::size_t>(packet.streamIndex)));
        if (options.packets) {
            PrintPacketAsJson(packet, isFirst);
            isFirst = false;
        }
    });
    std::cout << (options.packets ? "\n  ],\n" : "");
    PrintStreamsAsJson(reports);
}

void RunProbe(const ProbeOptions& options) {
    LibrarySession session(options.logLevel);
    PacketSource source(session, options.file);
    if (!options.packets) {
        source.ShowProgress("reading");
    }
    std::vector<StreamReport> reports = StartReports(session, source);
    options.json ? ProbeAsJson(options, source, reports) : ProbeAsText(options, source, reports);
}

}  // namespace

void AddProbeCommand(CLI::App& app) {
    const auto options = std::make_shared<ProbeOptions>();
    CLI::App* command = app.add_subcommand("probe", "The streams of a file, and its packets");
    command->add_option("FILE", options->file, "The media file")->required();
    command->add_flag("--packets", options->packets,
                      "First a line for each packet: stream, pts ms, dts ms, bytes, key frame");
    command->add_flag("--json", options->json, "Write JSON");
    AddLogOption(*command, options->logLevel);
    command->footer("Example:\n  codrelay probe clip.mp4 --packets");
    command->callback([options] { RunProbe(*options); });
}
