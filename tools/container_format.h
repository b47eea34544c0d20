#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

/// A container that the library writes, and what can be read back out of it afterwards.
struct ContainerFormat {
    /// Also the suffix of its files.
    const char* name;
    /// A MUXER_FORMAT_* id.
    int id;
    /// Whether it can be written without seeking, as the memory muxer must.
    bool onMemory;
    std::vector<int> videoCodecs;
    std::vector<int> audioCodecs;
};

/// Adds OUT and `--format NAME`.
void AddOutputOptions(CLI::App& command, std::string& out, std::string& format);

/// The format of that name or, where it is empty, of the suffix of `path`.
const ContainerFormat& FindContainerFormat(const std::string& name, const std::string& path);

/// A `Failure` unless the format keeps the codecs readable; -1 stands for no stream.
void CheckCodecs(const ContainerFormat& format, int videoCodec, int audioCodec);
