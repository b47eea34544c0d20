#pragma once

#include <CLI/CLI.hpp>

/// `codrelay encode`: pictures of a file into a raw elementary stream.
void AddEncodeCommand(CLI::App& app);
