#include "probe_command.h"

#include <memory>
#include <string>
#include <vector>

#include "byte_source.h"
#include "failure.h"
#include "library_session.h"
#include "memory_packet_source.h"
#include "packet_source.h"
#include "probe_report.h"
#include "video_input.h"

namespace {

constexpr unsigned int kLargestChunk = 1U << 24;

struct ProbeOptions {
    std::string file;
    ProbeStyle style;
    bool memory = false;
    std::string format;
    unsigned int chunk = 65536;
    std::string logLevel;
};

void ProbeFile(const ProbeOptions& options) {
    LibrarySession session(options.logLevel);
    PacketSource source(session, options.file);
    if (!options.style.packets) {
        source.ShowProgress("reading");
    }
    ProbeReport report(session, options.style);
    for (const StreamInfo& stream : source.Streams()) {
        report.AddStream(stream);
    }
    source.ReadAll([&report](const DEMUXER_PACKET& packet) { report.TakePacket(packet); });
    report.Finish();
}

/// Pushes everything, or as much as the demuxer wants: a container may end before its bytes do.
void PushAll(ByteSource& bytes, MemoryPacketSource& source, unsigned int chunk) {
    std::vector<unsigned char> data(chunk);
    std::size_t total = 0;
    for (;;) {
        const std::size_t count = bytes.Read(data.data(), data.size());
        total += count;
        if (count == 0 || !source.Push(data.data(), count)) {
            break;
        }
    }
    if (total == 0) {
        throw Failure(bytes.Name() + ": is empty");
    }
}

void ProbeMemory(const ProbeOptions& options) {
    ByteSource bytes(options.file);
    LibrarySession session(options.logLevel);
    ProbeStyle style = options.style;
    style.unit = "ticks";
    ProbeReport report(session, style);
    MemoryPacketSource source(session, options.format, bytes.Name(),
                              {[&report](const StreamInfo& stream) { report.AddStream(stream); },
                               [&report](const DEMUXER_PACKET& packet) { report.TakePacket(packet); }});
    if (const auto known = bytes.BytesLeft()) {
        source.Expect(*known);
    }
    PushAll(bytes, source, options.chunk);
    source.Finish();
    report.Finish();
}

void AddMemoryOptions(CLI::App& command, ProbeOptions& options) {
    CLI::Option* memory = command.add_flag(
        "--memory", options.memory, "Push the bytes through a memory demuxer; - is standard input, times are ticks");
    CLI::Option* format =
        command.add_option("--format", options.format, "With --memory: wav, asf, or a demuxer's long name")
            ->needs(memory)
            ->option_text("NAME");
    memory->needs(format);
    command.add_option("--chunk", options.chunk, "With --memory: push N bytes at a time, 65536 unless told")
        ->check(CLI::Range(1U, kLargestChunk))
        ->needs(memory)
        ->option_text("N");
}

}  // namespace

void AddProbeCommand(CLI::App& app) {
    const auto options = std::make_shared<ProbeOptions>();
    CLI::App* command = app.add_subcommand("probe", "The streams of a file, and its packets");
    command->add_option("FILE", options->file, "The media file")->required();
    command->add_flag("--packets", options->style.packets,
                      "First a line for each packet: stream, pts ms, dts ms, bytes, key frame");
    command->add_flag("--json", options->style.json, "Write JSON");
    AddMemoryOptions(*command, *options);
    AddLogOption(*command, options->logLevel);
    command->footer("Example:\n  codrelay probe clip.mp4 --packets");
    command->callback([options] { options->memory ? ProbeMemory(*options) : ProbeFile(*options); });
}
