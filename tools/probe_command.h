#pragma once

#include <CLI/CLI.hpp>

/// `codrelay probe`: what a file holds, stream by stream.
void AddProbeCommand(CLI::App& app);
