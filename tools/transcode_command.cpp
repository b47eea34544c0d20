#include "transcode_command.h"

#include <memory>
#include <string>
#include <vector>

#include "container_format.h"
#include "picture_encoder.h"
#include "transcode_pipeline.h"

namespace {

std::vector<std::string> VideoChoices() {
    std::vector<std::string> choices = EncoderNames();
    choices.insert(choices.end(), {"copy", "none"});
    return choices;
}

CLI::Option* AddNumber(CLI::App& command, const std::string& name, unsigned int& number, unsigned int most,
                       const std::string& help) {
    return command.add_option(name, number, help)->check(CLI::Range(1U, most))->option_text("N");
}

void AddOptions(CLI::App& command, TranscodeOptions& options) {
    AddVideoInputOptions(command, options.input, "IN");
    AddOutputOptions(command, options.out, options.format);
    command.add_option("--video", options.video, "The video's new codec, copy or none; h264 unless told otherwise")
        ->check(CLI::IsMember(VideoChoices()))
        ->option_text("NAME");
    command.add_option("--audio", options.audio, "The sound's: mp3, aac, pcm, copy or none; mp3 unless told otherwise")
        ->check(CLI::IsMember({"mp3", "aac", "pcm", "copy", "none"}))
        ->option_text("NAME");
    AddSizeOption(command, "--size", options.size, "Scale the pictures to this size");
    AddNumber(command, "--fps", options.frameRate, 240,
              "At most so many pictures a second; exactly so many for a file without times");
    AddNumber(command, "--video-bitrate", options.videoBitRate, 1000000000, "Bits a second of the video");
    AddNumber(command, "--audio-bitrate", options.audioBitRate, 1000000, "Bits a second of the sound");
    command.add_option("--key-interval", options.keyInterval, "Pictures from one key picture to the next, at most")
        ->check(CLI::Range(0, 300))
        ->option_text("N");
}

}  // namespace

void AddTranscodeCommand(CLI::App& app) {
    const auto options = std::make_shared<TranscodeOptions>();
    CLI::App* command = app.add_subcommand("transcode", "Decode a file, encode it anew, and write another container");
    AddOptions(*command, *options);
    command->footer("Example:\n  codrelay transcode clip.mp4 clip.ts --size 640x360");
    command->callback([options] { RunTranscode(*options); });
}
