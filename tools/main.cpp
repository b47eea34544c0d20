#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "audio_command.h"
#include "decode_command.h"
#include "encode_command.h"
#include "failure.h"
#include "info_command.h"
#include "probe_command.h"
#include "remux_command.h"
#include "sheet_command.h"
#include "transcode_command.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

void AddCommands(CLI::App& app) {
    AddInfoCommand(app);
    AddProbeCommand(app);
    AddDecodeCommand(app);
    AddEncodeCommand(app);
    AddAudioCommand(app);
    AddSheetCommand(app);
    AddRemuxCommand(app);
    AddTranscodeCommand(app);
}

/// A full disk behind standard output shows at the last flush.
void FinishStandardOutput() {
    std::cout.flush();
    if (!std::cout) {
        throw Failure("standard output cannot be written");
    }
}

/// One line, whatever the names of files and their contents bring in.
int Complain(std::string what) {
    std::replace_if(
        what.begin(), what.end(), [](char c) { return std::iscntrl(static_cast<unsigned char>(c)) != 0; }, '?');
    std::cerr << "codrelay: " << what << "\n";
    return kFailed;
}

int RunCommandLine(int argc, char** argv) {
    CLI::App app{"Looks into media files, decodes and encodes them with the Codrelay library."};
    app.name("codrelay");
    app.set_version_flag("--version", "codrelay " CODRELAY_VERSION);
    app.require_subcommand(1);
    app.footer("Example:\n  codrelay probe clip.mp4\n\ncodrelay COMMAND --help tells more of each command.");
    AddCommands(app);
    try {
        app.parse(argc, argv);
        FinishStandardOutput();
        return 0;
    } catch (const CLI::ParseError& stop) {
        // Help and version come this way too, with code 0.
        return app.exit(stop) == 0 ? 0 : kWrongUsage;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return RunCommandLine(argc, argv);
    } catch (const std::bad_alloc&) {
        return Complain("out of memory");
    } catch (const std::exception& failure) {
        return Complain(failure.what());
    }
}
