#pragma once

#include <CLI/CLI.hpp>

/// `codrelay decode`: the pictures of a file's first video stream, as bytes and as hashes.
void AddDecodeCommand(CLI::App& app);
