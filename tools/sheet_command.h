#pragma once

#include <CLI/CLI.hpp>

/// `codrelay sheet`: a contact sheet of a file's first video stream.
void AddSheetCommand(CLI::App& app);
