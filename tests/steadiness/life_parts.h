#pragma once

#include <stdexcept>
#include <string>

#include "steadiness/life.h"

/// What the files that describe lives share.

inline void RequireDocumented(bool documented, const char* call) {
    if (!documented) {
        throw std::logic_error(std::string(call) + ": a result that is not documented");
    }
}

void AddVideoLives(std::vector<LifeKind>* kinds);
void AddAudioLives(std::vector<LifeKind>* kinds);
void AddContainerLives(std::vector<LifeKind>* kinds);
