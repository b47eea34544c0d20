#pragma once

#include <string>

struct ProcessResult {
    /// The exit code; 128 plus the signal's number where one ended it, as a shell tells it.
    int exitCode;
    std::string out;
    std::string err;
};

/// Runs a shell command to its end. Standard input is empty unless `input` is given.
ProcessResult RunCommand(const std::string& command, const std::string& input = "");
