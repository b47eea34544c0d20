#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "uvqlog/control.h"

namespace uvqlog {

/// Leads every record to the host's sink, or to the default where there is none.
class SinkSwitch {
public:
    using Sink = std::function<void(const LogEvent&)>;

    static SinkSwitch& Instance();

    SinkSwitch();
    ~SinkSwitch();

    void Pass(const LogEvent& event);
    void SetSink(Sink sink);

private:
    struct Slot {
        Sink sink;
        int calls = 0;  // that are under way; guarded by m_Mutex
    };

    std::shared_ptr<Slot> Enter();
    void Leave(const std::shared_ptr<Slot>& slot);
    void AwaitCalls(const std::shared_ptr<Slot>& slot);

    std::mutex m_Mutex;
    std::condition_variable m_Idle;
    std::shared_ptr<Slot> m_pCurrent;  // null: the default; guarded by m_Mutex
};

}  // namespace uvqlog
