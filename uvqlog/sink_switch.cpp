#include "uvqlog/sink_switch.h"

#include <utility>

#include "uvqlog/default_output.h"
#include "uvqlog/thresholds.h"
#include "uvqlog/until_unload.h"

namespace uvqlog {

namespace {

// This thread is inside a sink: what is logged now must not come back to it, and it must not wait for itself.
thread_local bool insideSink = false;

void Call(const SinkSwitch::Sink& sink, const LogEvent& event) noexcept {
    insideSink = true;
    try {
        sink(event);
    } catch (...) {
        // A host's sink must not make a library call fail.
    }
    insideSink = false;
}

}  // namespace

SinkSwitch& SinkSwitch::Instance() {
    static auto* const instance = UntilUnload(new SinkSwitch);
    return *instance;
}

// Made here, these outlive it: what a sink captured may log while the switch lets go of it.
SinkSwitch::SinkSwitch() {
    Thresholds::Instance();
    DefaultOutput::Instance();
}

SinkSwitch::~SinkSwitch() {
    SetSink(nullptr);
}

void SinkSwitch::Pass(const LogEvent& event) {
    const std::shared_ptr<Slot> slot = insideSink ? nullptr : Enter();
    if (slot == nullptr) {
        DefaultOutput::Instance().Write(event);
        return;
    }
    Call(slot->sink, event);
    Leave(slot);
}

void SinkSwitch::SetSink(Sink sink) {
    std::shared_ptr<Slot> slot = sink ? std::make_shared<Slot>() : nullptr;
    if (slot != nullptr) {
        slot->sink = std::move(sink);
    }
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_pCurrent.swap(slot);
    }
    if (slot != nullptr && !insideSink) {
        AwaitCalls(slot);
        slot->sink = nullptr;  // here, not on a thread that still holds the slot: what it captured is gone on return
    }
}

std::shared_ptr<SinkSwitch::Slot> SinkSwitch::Enter() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_pCurrent != nullptr) {
        ++m_pCurrent->calls;
    }
    return m_pCurrent;
}

void SinkSwitch::Leave(const std::shared_ptr<Slot>& slot) {
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (--slot->calls == 0) {
        m_Idle.notify_all();
    }
}

void SinkSwitch::AwaitCalls(const std::shared_ptr<Slot>& slot) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Idle.wait(lock, [&slot] { return slot->calls == 0; });
}

void SetSink(std::function<void(const LogEvent&)> sink) {
    SinkSwitch::Instance().SetSink(std::move(sink));
}

}  // namespace uvqlog
