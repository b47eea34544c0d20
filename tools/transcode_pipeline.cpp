#include "transcode_pipeline.h"

#include <thread>
#include <utility>

namespace {

// A decoder has eight pictures: one that it works on, one that waits at the queue, one that is encoded, and four
// within.
constexpr std::size_t kQueueLimit = 64;
constexpr std::size_t kPictureWeight = 16;
constexpr std::size_t kOtherWeight = 1;

}  // namespace

TranscodePipeline::TranscodePipeline(LibrarySession& session, const TranscodeOptions& options,
                                     const TranscodePlan& plan)
    : m_Reader(session, options, plan), m_Writer(options, plan), m_Queue(kQueueLimit) {}

void TranscodePipeline::Run() {
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
    m_Writer.Finish();
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
