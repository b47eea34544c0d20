#pragma once

#include <CLI/CLI.hpp>

/// `codrelay info`: the library, the FFmpeg behind it, and what the two can do.
void AddInfoCommand(CLI::App& app);
