#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "uvqlog/uvqlog.h"

namespace uvqlog {

/// What all loggers of one name share. It outlives them: a logger may be asked as late as process exit.
struct LoggerState {
    const std::string name;
    std::atomic<int> lowest;
};

/// The lowest severity of each logger name.
class Thresholds {
public:
    static Thresholds& Instance();

    /// The state for a logger that is being made; `audible` counts where nobody has set a threshold that covers it.
    LoggerState* Enter(std::string_view name, bool audible);
    void SetForAll(Severity lowest);
    void SetForOne(std::string_view name, Severity lowest);

private:
    LoggerState* FindOrAdd(std::string_view name, int lowestOfNew);

    std::mutex m_Mutex;
    std::map<std::string, std::unique_ptr<LoggerState>, std::less<>> m_States;
    std::optional<int> m_LowestOfAll;  // nobody has set it yet: warnings and above, or silence
};

}  // namespace uvqlog
