#pragma once

#include <CLI/CLI.hpp>

/// `codrelay audio`: the sound of a file's first audio stream, as a WAV file.
void AddAudioCommand(CLI::App& app);
