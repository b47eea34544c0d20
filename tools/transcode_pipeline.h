#pragma once

#include <exception>

#include "bounded_queue.h"
#include "transcode_reader.h"
#include "transcode_writer.h"

/// Runs the two halves of a transcode side by side, on two threads.
class TranscodePipeline {
public:
    TranscodePipeline(LibrarySession& session, const TranscodeOptions& options, const TranscodePlan& plan);

    /// Ends when the file stands under its name, or by the `Failure` of either half. Gives what went into it.
    PacketCounts Run();

private:
    void Write();

    TranscodeReader m_Reader;
    TranscodeWriter m_Writer;
    BoundedQueue<TranscodeItem> m_Queue;
    std::exception_ptr m_WriterFailure;
};

/// The whole work: plans, runs, and tells what went into the file.
void RunTranscode(const TranscodeOptions& options);
