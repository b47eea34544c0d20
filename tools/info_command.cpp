#include "info_command.h"

#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "codrelay/ffmpeg_vocabulary.h"
#include "codrelay/library.h"
#include "codrelay/media_ids.h"
#include "ffmpeg_versions.h"
#include "library_session.h"
#include "media_names.h"
#include "table.h"

namespace {

using LongNames = std::set<std::string, std::less<>>;

/// The long names of the formats that this FFmpeg has.
struct Formats {
    LongNames muxers;
    LongNames demuxers;
};

/// The library has no query for formats, but it lists them in its log when it starts:
/// "EnumSupportedOutFormats: name = flv, longName = FLV format ext = flv", with " no ext" where there is none, and
/// "EnumSupportedInputFormats: name = wav, longName = WAV format".
void NoteFormat(std::string_view line, Formats& formats) {
    constexpr std::string_view kMark = ", longName = ";
    const std::size_t mark = line.find(kMark);
    if (mark == std::string_view::npos) {
        return;
    }
    const std::string_view rest = line.substr(mark + kMark.size());
    if (line.rfind("EnumSupportedInputFormats: ", 0) == 0) {
        formats.demuxers.emplace(rest);
    } else if (line.rfind("EnumSupportedOutFormats: ", 0) == 0) {
        formats.muxers.emplace(rest.substr(0, std::min(rest.rfind(" ext = "), rest.rfind(" no ext"))));
    }
}

Formats ListFormats(LibrarySession& session) {
    Formats formats;
    session.ListOffers([&formats](const uvqlog::LogEvent& event) { NoteFormat(event.text, formats); });
    return formats;
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

void AddFormat(Table& table, int id, const std::string& longName, const LongNames& present) {
    table.AddRow({std::to_string(id), longName, present.count(longName) != 0 ? "yes" : "no"});
}

void PrintMuxers(const Formats& formats) {
    Table table({"muxer", "long name", "present"});
    for (int id = MUXER_FORMAT_FLV; id <= MUXER_FORMAT_MPEGTS; ++id) {
        AddFormat(table, id, GetMuxerFormatName(id), formats.muxers);
    }
    std::cout << "\n";
    table.Print();
}

void PrintMemoryDemuxers(const Formats& formats) {
    Table table({"memory demuxer", "long name", "present"});
    AddFormat(table, DEMUXER_FORMAT_WAV, "WAV format", formats.demuxers);
    AddFormat(table, DEMUXER_FORMAT_ASF, "ASF format", formats.demuxers);
    std::cout << "\n";
    table.Print();
}

void RunInfo() {
    LibrarySession session("");
    const Formats formats = ListFormats(session);
    PrintVersions();
    PrintEncoders("video encoder", Codrelay_GetSupportedVideoEncoders(), VideoCodecName);
    PrintEncoders("audio encoder", Codrelay_GetSupportedAudioEncoders(), AudioCodecName);
    PrintMuxers(formats);
    PrintMemoryDemuxers(formats);
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
    CLI::App* command = app.add_subcommand("info", "Versions, and what the library and its FFmpeg can do");
    command->footer("Example:\n  codrelay info");
    command->callback(RunInfo);
}
