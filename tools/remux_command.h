#pragma once

#include <CLI/CLI.hpp>

/// `codrelay remux`: the packets of a file's first video and first audio stream in another container.
void AddRemuxCommand(CLI::App& app);
