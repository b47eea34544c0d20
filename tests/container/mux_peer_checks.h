#pragma once

#include <filesystem>
#include <string>

#include "container/mux_combination.h"

/// A file that a test writes, removed at the end.
class Output {
public:
    explicit Output(const Combination& combination);
    ~Output();
    std::string Path() const { return m_Path.string(); }

private:
    std::filesystem::path m_Path;
};

/// Both streams are read back by peers as what they are: codec, rate, channels, packets, rising times, no complaint of
/// a decoder.
void ExpectReadableByPeers(const std::string& path, const Combination& combination, const Material& material);
