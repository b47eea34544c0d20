#include "info_command.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "codrelay/audio_encoder.h"
#include "codrelay/factories.h"
#include "codrelay/ffmpeg_vocabulary.h"
#include "codrelay/library.h"
#include "codrelay/media_ids.h"
#include "ffmpeg_versions.h"
#include "library_session.h"
#include "media_names.h"
#include "table.h"

namespace {

using Names = std::set<std::string, std::less<>>;

/// What this FFmpeg has: formats by their long names, codecs by the names that FFmpeg looks them up by.
struct Offers {
    Names muxers;
    Names demuxers;
    Names encoders;
    Names decoders;
};

/// Takes in what the library says of FFmpeg when it starts; there is no other query:
/// "EnumSupportedOutFormats: name = flv, longName = FLV format ext = flv", with " no ext" where there is none,
/// "EnumSupportedInputFormats: name = wav, longName = WAV format", and, below heads such as
/// "EnumSupportedCodecs: -----------VIDEO ENCODERS--------------",
/// "EnumSupportedCodecs: CodecId = 27, codecName = h264".
class OffersListener {
public:
    explicit OffersListener(Offers& offers) : m_Offers(offers) {}

    void Hear(std::string_view line) {
        if (line.rfind("EnumSupportedCodecs: -", 0) == 0) {
            m_bEncoders = line.find("ENCODERS") != std::string_view::npos;
        } else if (const auto codec = Behind(", codecName = ", line)) {
            (m_bEncoders ? m_Offers.encoders : m_Offers.decoders).emplace(*codec);
        } else if (const auto format = Behind(", longName = ", line)) {
            NoteFormat(line, *format);
        }
    }

private:
    static std::optional<std::string_view> Behind(std::string_view mark, std::string_view line) {
        const std::size_t at = line.find(mark);
        return at != std::string_view::npos ? std::optional(line.substr(at + mark.size())) : std::nullopt;
    }

    void NoteFormat(std::string_view line, std::string_view longName) {
        if (line.rfind("EnumSupportedInputFormats: ", 0) == 0) {
            m_Offers.demuxers.emplace(longName);
        } else if (line.rfind("EnumSupportedOutFormats: ", 0) == 0) {
            m_Offers.muxers.emplace(longName.substr(0, std::min(longName.rfind(" ext = "), longName.rfind(" no ext"))));
        }
    }

    Offers& m_Offers;
    bool m_bEncoders = false;
};

Offers ListOffers(LibrarySession& session) {
    Offers offers;
    OffersListener listener(offers);
    session.ListOffers([&listener](const uvqlog::LogEvent& event) { listener.Hear(event.text); });
    return offers;
}

void PrintVersions() {
    std::cout << "codrelay " CODRELAY_VERSION "\n\n";
    Table table({"FFmpeg library", "compiled", "loaded"});
    for (const FfmpegVersion& version : FfmpegVersions()) {
        table.AddRow({version.library, version.compiled, version.loaded});
    }
    table.Print();
}

void PrintEncoders(const char* title, const std::set<int>& ids, std::string (*name)(int)) {
    Table table({title, "name"});
    for (const int id : ids) {
        table.AddRow({std::to_string(id), name(id)});
    }
    std::cout << "\n";
    table.Print();
}

/// A codec of FFmpeg's, or what is instead of it; `name` is null where the library has none.
std::string Served(const char* name, const Names& present) {
    if (name == nullptr) {
        return "none";
    }
    return present.count(name) != 0 ? name : std::string("missing: ") + name;
}

std::string VideoEncoderOf(int id, const Names& present) {
    constexpr std::string_view kUsualH264 = "libopenh264";
    const char* name = GetFFmpegVideoEncoderName(id);
    const std::string served = Served(name, present);
    return id == VIDEO_CODEC_H264 && name != kUsualH264 ? served + " for " + std::string(kUsualH264) : served;
}

struct AudioEncoderDeleter {
    void operator()(CAudioEncoderBase* encoder) const { encoder->Delete(); }
};

/// Objects are built for all ids, but some can never be made ready: those take no samples.
std::string AudioEncoderOf(int id, const Names& present) {
    const std::unique_ptr<CAudioEncoderBase, AudioEncoderDeleter> encoder(Codrelay_AudioEncoder(id));
    const bool takesSamples = encoder != nullptr && encoder->GetSupportedFormats() != 0;
    return Served(takesSamples ? GetFFmpegAudioEncoderName(id) : nullptr, present);
}

std::string AudioDecoderOf(int id, const Names& present) {
    return id == AUDIO_CODEC_OPUS ? "libopus itself" : Served(GetFFmpegAudioDecoderName(id), present);
}

/// Which codec of FFmpeg's serves which of the library's.
void PrintCodecs(const Offers& offers) {
    Table table({"codec", "encoder", "decoder"});
    for (int id = VIDEO_CODEC_FLV; id <= VIDEO_CODEC_H265; ++id) {
        table.AddRow({VideoCodecName(id), VideoEncoderOf(id, offers.encoders),
                      Served(GetFFmpegVideoDecoderName(id), offers.decoders)});
    }
    for (const int id : AudioCodecs()) {
        table.AddRow({AudioCodecName(id), AudioEncoderOf(id, offers.encoders), AudioDecoderOf(id, offers.decoders)});
    }
    std::cout << "\n";
    table.Print();
}

void AddFormat(Table& table, int id, const std::string& longName, const Names& present) {
    table.AddRow({std::to_string(id), longName, present.count(longName) != 0 ? "yes" : "no"});
}

void PrintMuxers(const Offers& offers) {
    Table table({"muxer", "long name", "present"});
    for (int id = MUXER_FORMAT_FLV; id <= MUXER_FORMAT_MPEGTS; ++id) {
        AddFormat(table, id, GetMuxerFormatName(id), offers.muxers);
    }
    std::cout << "\n";
    table.Print();
}

void PrintMemoryDemuxers(const Offers& offers) {
    Table table({"memory demuxer", "long name", "present"});
    AddFormat(table, DEMUXER_FORMAT_WAV, "WAV format", offers.demuxers);
    AddFormat(table, DEMUXER_FORMAT_ASF, "ASF format", offers.demuxers);
    std::cout << "\n";
    table.Print();
}

void RunInfo() {
    LibrarySession session("");
    const Offers offers = ListOffers(session);
    PrintVersions();
    PrintEncoders("video encoder", Codrelay_GetSupportedVideoEncoders(), VideoCodecName);
    PrintEncoders("audio encoder", Codrelay_GetSupportedAudioEncoders(), AudioCodecName);
    PrintCodecs(offers);
    PrintMuxers(offers);
    PrintMemoryDemuxers(offers);
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
    CLI::App* command = app.add_subcommand("info", "Versions, and what the library and its FFmpeg can do");
    command->footer("Example:\n  codrelay info");
    command->callback(RunInfo);
}
