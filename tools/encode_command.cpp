#include "encode_command.h"

#include <chrono>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "files.h"
#include "library_session.h"
#include "picture_encoder.h"
#include "picture_source.h"
#include "picture_transform.h"
#include "video_input.h"

namespace {

/// Where neither the user nor the file tells.
constexpr unsigned int kUsualFrameRate = 25;

struct EncodeOptions {
    VideoInputOptions input;
    std::string out;
    std::string codec = "h264";
    unsigned int bitRate = 1'000'000;
    std::optional<unsigned int> frameRate;
    int keyInterval = 50;
    std::optional<PictureSize> size;
};

class EncodeRun {
public:
    explicit EncodeRun(const EncodeOptions& options)
        : m_Session(options.input.logLevel),
          m_Source(PictureSource::Open(m_Session, options.input)),
          m_Setup(SetUp(options)),
          m_Encoder(m_Setup),
          m_Out(options.out, options.input.file) {}

    void Run() {
        const auto start = std::chrono::steady_clock::now();
        m_Source->ReadAll([this](const Picture& picture) { TakePicture(picture); });
        m_Out.Finish();
        m_Time = std::chrono::steady_clock::now() - start;
    }

    void PrintSummary() const {
        const double bitRate = static_cast<double>(m_Bytes) * 8 * m_Setup.frameRate / static_cast<double>(m_Pictures);
        std::cerr << "pictures " << m_Pictures << " (" << m_KeyPictures << " key), bytes " << m_Bytes << ", "
                  << std::fixed << std::setprecision(0) << bitRate << " bits per second at " << m_Setup.frameRate
                  << ", time " << std::setprecision(3) << m_Time.count() << " s, " << std::setprecision(1)
                  << static_cast<double>(m_Pictures) / m_Time.count() << " pictures per second\n";
    }

private:
    EncoderSetup SetUp(const EncodeOptions& options) {
        if (options.size) {
            CheckSizeAskedFor(*options.size);
        }
        const auto frameRate = options.frameRate ? options.frameRate : m_Source->FrameRate();
        return {CodecOfEncoderName(options.codec), options.size.value_or(m_Source->Size()),
                frameRate.value_or(kUsualFrameRate), options.bitRate, options.keyInterval};
    }

    void TakePicture(const Picture& picture) {
        const EncodedPicture packet = m_Encoder.Encode(m_Transform.Apply(picture, m_Setup.size));
        m_Out.Write(packet.data, packet.size);
        ++m_Pictures;
        m_KeyPictures += packet.isKey ? 1 : 0;
        m_Bytes += packet.size;
    }

    LibrarySession m_Session;
    std::unique_ptr<PictureSource> m_Source;
    EncoderSetup m_Setup;
    PictureEncoder m_Encoder;
    PictureTransform m_Transform{CSP_YUV420P};
    OutputFile m_Out;
    long long m_Pictures = 0;
    long long m_KeyPictures = 0;
    std::size_t m_Bytes = 0;
    std::chrono::duration<double> m_Time{};
};

void RunEncode(const EncodeOptions& options) {
    EncodeRun run(options);
    run.Run();
    run.PrintSummary();
}

void AddOptions(CLI::App& command, EncodeOptions& options) {
    AddVideoInputOptions(command, options.input, "IN");
    command.add_option("OUT", options.out, "The stream, one packet after the other")->required();
    command.add_option("--codec", options.codec, "The codec: h264 unless told")
        ->check(CLI::IsMember(EncoderNames()))
        ->option_text("NAME");
    command.add_option("--bitrate", options.bitRate, "Bits a second that the encoder aims at: 1000000 unless told")
        ->check(CLI::Range(1u, 4294967295u))
        ->option_text("N");
    command.add_option("--fps", options.frameRate, "Pictures a second: as the file tells, else 25")
        ->check(CLI::Range(1, 65535))
        ->option_text("N");
    command
        .add_option("--key-interval", options.keyInterval,
                    "Pictures from one key picture to the next, 0 to 300: 50 unless told")
        ->check(CLI::Range(0, 300))
        ->option_text("N");
    AddSizeOption(command, "--size", options.size, "Scale the pictures to this size");
}

}  // namespace

void AddEncodeCommand(CLI::App& app) {
    const auto options = std::make_shared<EncodeOptions>();
    CLI::App* command = app.add_subcommand("encode", "Encode a Y4M or other video file into a raw stream");
    AddOptions(*command, *options);
    command->footer(
        "Example:\n  codrelay encode clip.mp4 clip.264 --bitrate 800000 --size 640x360\n\n"
        "flv has no raw form that players know; its pictures follow each other bare.");
    command->callback([options] { RunEncode(*options); });
}
