#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "steadiness/life.h"

/// Where the lives' file muxers write.
std::string ScratchFile();

/// The first part of a life, in which a call may fail. False where it did not end well.
bool Lead(Life* life);

/// A life in which calls fail, and what comes out of one in which none does.
struct Subject {
    explicit Subject(const LifeKind& kind);

    std::unique_ptr<Life> life;
    std::optional<std::uint64_t> expected;
};
