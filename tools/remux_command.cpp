#include "remux_command.h"

#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "container_writer.h"
#include "failure.h"
#include "input_survey.h"
#include "interrupt.h"
#include "library_session.h"
#include "packet_copier.h"
#include "packet_interleaver.h"
#include "packet_source.h"
#include "video_input.h"

namespace {

struct RemuxOptions {
    VideoInputOptions input;
    std::string out;
    std::string format;
    bool onMemory = false;
};

class RemuxRun {
public:
    explicit RemuxRun(const RemuxOptions& options)
        : m_Options(options),
          m_Format(FindContainerFormat(options.format, options.out)),
          m_Session(options.input.logLevel),
          m_Survey(SurveyInput(m_Session, options.input.file)),
          m_Writer(NewContainerWriter(Setup())),
          m_Interleaver(*m_Writer, m_Survey.video && m_Survey.sound),
          m_Source(m_Session, options.input.file) {
        AddCopier(m_Survey.video, m_Video);
        AddCopier(m_Survey.sound, m_Sound);
        m_Source.ShowProgress("remuxing");
    }

    void Run() {
        m_Source.ReadAll([this](const DEMUXER_PACKET& packet) {
            StopIfInterrupted();
            TakePacket(packet, m_Survey.video, m_Video);
            TakePacket(packet, m_Survey.sound, m_Sound);
        });
        m_Interleaver.Finish();
        m_Writer->Finish();
    }

    void PrintSummary() const {
        std::cerr << "packets of video " << m_Video.packets << ", of sound " << m_Sound.packets << "\n";
    }

private:
    struct Track {
        std::optional<PacketCopier> copier;
        long long packets = 0;
    };

    ContainerSetup Setup() {
        const std::string& file = m_Options.input.file;
        ContainerSetup setup;
        setup.format = m_Format;
        setup.in = file;
        setup.out = m_Options.out;
        setup.onMemory = m_Options.onMemory;
        if (m_Survey.video) {
            const VideoInput video = FindVideoInput(m_Session, m_Options.input);
            setup.videoCodec = video.stream.codecId;
            setup.size = video.size;
            setup.frameRate = m_Survey.frameRate;
        }
        if (m_Survey.sound) {
            if (m_Survey.sound->codecId == -1) {
                throw Failure(file + ": its sound is in a codec that the library does not name");
            }
            setup.audioCodec = m_Survey.sound->codecId;
            setup.sound = m_Survey.sound->audio;
            setup.mp3FrameBytes = m_Survey.soundBytes;
        }
        return setup;
    }

    void AddCopier(const std::optional<StreamInfo>& stream, Track& track) {
        if (stream) {
            track.copier.emplace(*stream, m_Options.input.file);
        }
    }

    void TakePacket(const DEMUXER_PACKET& packet, const std::optional<StreamInfo>& stream, Track& track) {
        if (stream && stream->index == packet.streamIndex && packet.size > 0) {
            ++track.packets;
            m_Interleaver.Add(track.copier->Copy(packet));
        }
    }

    const RemuxOptions& m_Options;
    const ContainerFormat& m_Format;
    LibrarySession m_Session;
    InputSurvey m_Survey;
    std::unique_ptr<ContainerWriter> m_Writer;
    PacketInterleaver m_Interleaver;
    PacketSource m_Source;
    Track m_Video;
    Track m_Sound;
};

void RunRemux(const RemuxOptions& options) {
    CatchInterrupts();
    RemuxRun run(options);
    run.Run();
    run.PrintSummary();
}

void AddOptions(CLI::App& command, RemuxOptions& options) {
    AddVideoInputOptions(command, options.input, "IN");
    command.add_option("OUT", options.out, "The file to write; its suffix names the container")->required();
    command.add_option("--format", options.format, "The container, whatever the suffix")
        ->check(CLI::IsMember(ContainerFormatNames()))
        ->option_text("NAME");
    command.add_flag("--memory", options.onMemory, "Write through the memory muxer, which keeps all sound in time");
}

}  // namespace

void AddRemuxCommand(CLI::App& app) {
    const auto options = std::make_shared<RemuxOptions>();
    CLI::App* command =
        app.add_subcommand("remux", "Put the first video and the first audio stream into another container");
    AddOptions(*command, *options);
    command->footer("Example:\n  codrelay remux clip.flv clip.ts --memory");
    command->callback([options] { RunRemux(*options); });
}
