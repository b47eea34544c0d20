#pragma once

#include <CLI/CLI.hpp>

/// `codrelay transcode`: a file's first video and first audio stream, decoded and encoded anew, in another container.
void AddTranscodeCommand(CLI::App& app);
