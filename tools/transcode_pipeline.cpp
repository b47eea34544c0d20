#include "transcode_pipeline.h"

#include <iostream>
#include <thread>
#include <utility>

#include "interrupt.h"

namespace {

// A decoder has eight pictures. One it works on, one waits at the queue, one is being encoded; four may wait within.
constexpr std::size_t kQueueLimit = 64;
constexpr std::size_t kPictureWeight = 16;
constexpr std::size_t kOtherWeight = 1;

void PrintSummary(const PacketCounts& counts, const TranscodePlan& plan) {
    std::cerr << "pictures " << counts.pictures << ", packets of sound " << counts.sound << "\n";
    if (!plan.soundLeftOut.empty()) {
        std::cerr << "without sound: " << plan.soundLeftOut << "\n";
    }
}

}  // namespace

TranscodePipeline::TranscodePipeline(LibrarySession& session, const TranscodeOptions& options,
                                     const TranscodePlan& plan)
    : m_Reader(session, options, plan), m_Writer(options, plan), m_Queue(kQueueLimit) {}

PacketCounts TranscodePipeline::Run() {
    std::thread writing([this] { Write(); });
    std::exception_ptr readerFailure;
    try {
        m_Reader.ReadAll([this](TranscodeItem item) {
            const bool picture = std::holds_alternative<TimedPicture>(item);
            return m_Queue.Push(std::move(item), picture ? kPictureWeight : kOtherWeight);
        });
    } catch (...) {
        readerFailure = std::current_exception();
    }
    m_Queue.Close();
    writing.join();
    for (const std::exception_ptr& failure : {m_WriterFailure, readerFailure}) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
    return m_Writer.Finish();
}

void TranscodePipeline::Write() {
    try {
        while (auto item = m_Queue.Pop()) {
            m_Writer.Take(std::move(*item));
        }
    } catch (...) {
        m_WriterFailure = std::current_exception();
        m_Queue.Close();
    }
}

void RunTranscode(const TranscodeOptions& options) {
    CatchInterrupts();
    LibrarySession session(options.input.logLevel);
    const TranscodePlan plan = PlanTranscode(session, options);
    const PacketCounts counts = TranscodePipeline(session, options, plan).Run();
    PrintSummary(counts, plan);
}
