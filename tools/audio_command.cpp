#include "audio_command.h"

#include <chrono>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "failure.h"
#include "library_session.h"
#include "media_names.h"
#include "packet_source.h"
#include "sample_format.h"
#include "sound_converter.h"
#include "sound_decoder.h"
#include "video_input.h"
#include "wav_writer.h"

namespace {

struct AudioOptions {
    std::string file;
    std::string out;
    std::optional<int> rate;
    std::optional<int> channels;
    std::string sampleFormat;
    std::string logLevel;
};

StreamInfo FirstAudioStream(const PacketSource& source, const std::string& file) {
    const auto audio = source.First(StreamType::Audio);
    if (!audio) {
        throw Failure(file + ": has no audio stream");
    }
    return *audio;
}

AUDIO_FORMAT FormatAskedFor(const AudioOptions& options, const AUDIO_FORMAT& decoded) {
    return {options.rate.value_or(decoded.sampleRate), options.channels.value_or(decoded.channels),
            options.sampleFormat.empty() ? decoded.sampleFormat : SampleFormatOfName(options.sampleFormat)};
}

bool IsSame(const AUDIO_FORMAT& one, const AUDIO_FORMAT& other) {
    return one.sampleRate == other.sampleRate && one.channels == other.channels &&
           one.sampleFormat == other.sampleFormat;
}

class AudioRun {
public:
    explicit AudioRun(const AudioOptions& options)
        : m_Options(options),
          m_Session(options.logLevel),
          m_Source(m_Session, options.file),
          m_Stream(FirstAudioStream(m_Source, options.file)),
          m_Decoder(m_Stream, options.file),
          m_Format(FormatAskedFor(options, m_Decoder.Format())) {
        if (!IsSame(m_Format, m_Decoder.Format())) {
            m_Converter = std::make_unique<SoundConverter>(
                m_Decoder.Format(), m_Format,
                [this](const unsigned char* data, std::size_t size) { Write(data, size); });
        }
        m_Wav.emplace(options.out, options.file, m_Format);
        m_Source.ShowProgress("decoding");
    }

    void Run() {
        const auto start = std::chrono::steady_clock::now();
        m_Source.ReadAll([this](const DEMUXER_PACKET& packet) { TakePacket(packet); });
        if (m_Converter) {
            m_Converter->Finish();
        }
        if (m_BytesOut == 0) {
            throw Failure(m_Options.file + ": its " + AudioCodecName(m_Stream.codecId) + " audio gives no sound");
        }
        m_Wav->Finish();
        m_Time = std::chrono::steady_clock::now() - start;
    }

    void PrintSummary() const {
        std::cerr << "packets in " << m_Packets << ", samples out " << m_BytesOut / GroupBytes(m_Format) << " ("
                  << SampleFormatName(m_Format.sampleFormat) << ", " << m_Format.sampleRate << " Hz, channels "
                  << m_Format.channels << "), damaged " << m_Damaged << ", time " << std::fixed << std::setprecision(3)
                  << m_Time.count() << " s\n";
    }

private:
    void TakePacket(const DEMUXER_PACKET& packet) {
        if (packet.streamIndex != m_Stream.index) {
            return;
        }
        ++m_Packets;
        const std::vector<unsigned char>* samples = m_Decoder.Decode(packet);
        if (samples == nullptr) {
            ++m_Damaged;
        } else if (m_Converter) {
            m_Converter->Add(*samples);
        } else {
            Write(samples->data(), samples->size());
        }
    }

    void Write(const unsigned char* data, std::size_t size) {
        m_BytesOut += size;
        m_Wav->Write(data, size);
    }

    const AudioOptions& m_Options;
    LibrarySession m_Session;
    PacketSource m_Source;
    StreamInfo m_Stream;
    SoundDecoder m_Decoder;
    AUDIO_FORMAT m_Format;
    std::unique_ptr<SoundConverter> m_Converter;
    std::optional<WavWriter> m_Wav;
    std::uint64_t m_BytesOut = 0;
    long long m_Packets = 0;
    long long m_Damaged = 0;
    std::chrono::duration<double> m_Time{};
};

void RunAudio(const AudioOptions& options) {
    AudioRun run(options);
    run.Run();
    run.PrintSummary();
}

}  // namespace

void AddAudioCommand(CLI::App& app) {
    const auto options = std::make_shared<AudioOptions>();
    CLI::App* command = app.add_subcommand("audio", "Decode the first audio stream into a WAV file");
    command->add_option("FILE", options->file, "The media file")->required();
    command->add_option("OUT.wav", options->out, "The WAV file to write")->required();
    command->add_option("--rate", options->rate, "Resample to so many samples a second, 1000 to 384000")
        ->check(CLI::Range(1000, 384000))
        ->option_text("N");
    command->add_option("--channels", options->channels, "Mix to one channel or to two")
        ->check(CLI::Range(1, 2))
        ->option_text("N");
    command->add_option("--format", options->sampleFormat, "Convert the samples: s16, s32, flt or u8")
        ->check(CLI::IsMember(WavSampleFormatNames()))
        ->option_text("NAME");
    AddLogOption(*command, options->logLevel);
    command->footer("Example:\n  codrelay audio clip.mp4 clip.wav --rate 16000 --channels 1 --format s16");
    command->callback([options] { RunAudio(*options); });
}
