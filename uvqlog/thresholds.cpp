#include "uvqlog/thresholds.h"

#include <limits>

#include "uvqlog/control.h"
#include "uvqlog/until_unload.h"

namespace uvqlog {

namespace {

constexpr int kSilent = std::numeric_limits<int>::max();

}  // namespace

Thresholds& Thresholds::Instance() {
    static auto* const instance = UntilUnload(new Thresholds);
    return *instance;
}

LoggerState* Thresholds::Enter(std::string_view name, bool audible) {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return FindOrAdd(name, m_LowestOfAll.value_or(audible ? static_cast<int>(Severity::Warning) : kSilent));
}

void Thresholds::SetForAll(Severity lowest) {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_LowestOfAll = static_cast<int>(lowest);
    for (auto& entry : m_States) {
        entry.second->lowest = *m_LowestOfAll;
    }
}

void Thresholds::SetForOne(std::string_view name, Severity lowest) {
    std::lock_guard<std::mutex> lock(m_Mutex);
    FindOrAdd(name, kSilent)->lowest = static_cast<int>(lowest);
}

LoggerState* Thresholds::FindOrAdd(std::string_view name, int lowestOfNew) {
    auto found = m_States.find(name);
    if (found == m_States.end()) {
        std::unique_ptr<LoggerState> state(new LoggerState{std::string(name), {lowestOfNew}});
        found = m_States.emplace(state->name, std::move(state)).first;
    }
    return found->second.get();
}

void SetThreshold(Severity lowest) {
    Thresholds::Instance().SetForAll(lowest);
}

void SetThreshold(std::string_view logger, Severity lowest) {
    Thresholds::Instance().SetForOne(logger, lowest);
}

}  // namespace uvqlog
