#include "remux_command.h"

#include <memory>

#include "container_format.h"
#include "transcode_pipeline.h"

namespace {

/// A transcode that copies both streams.
TranscodeOptions CopyBoth() {
    TranscodeOptions options;
    options.label = "remuxing";
    options.video = "copy";
    options.audio = "copy";
    options.onMemory = false;
    return options;
}

}  // namespace

void AddRemuxCommand(CLI::App& app) {
    const auto options = std::make_shared<TranscodeOptions>(CopyBoth());
    CLI::App* command =
        app.add_subcommand("remux", "Put the first video and the first audio stream into another container");
    AddVideoInputOptions(*command, options->input, "IN");
    AddOutputOptions(*command, options->out, options->format);
    command->add_flag_callback(
        "--memory", [options] { options->onMemory = true; },
        "Write through the memory muxer, which keeps all sound in time");
    command->footer("Example:\n  codrelay remux clip.flv clip.ts --memory");
    command->callback([options] { RunTranscode(*options); });
}
