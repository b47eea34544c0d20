#pragma once

#include <codrelay/memory_demuxer.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "end_filler.h"
#include "library_session.h"
#include "packet_source.h"

/// A memory demuxer, and what comes out of the bytes that are pushed into it.
class MemoryPacketSource : private CDemuxerMemCallback {
public:
    /// Both run on the demuxer's thread, while bytes are pushed and at the end. A packet's bytes are good for the call.
    struct Takers {
        std::function<void(const StreamInfo&)> stream;
        std::function<void(const DEMUXER_PACKET&)> packet;
    };

    /// `format` is "wav", "asf" or the long name of another demuxer; `input` names the bytes to the user.
    MemoryPacketSource(LibrarySession& session, const std::string& format, const std::string& input, Takers takers);
    ~MemoryPacketSource() override;

    /// To be called first, where the number of bytes that will be pushed is known: then no packet is lost that a cut
    /// ASF ends with.
    void Expect(std::uint64_t bytes);
    /// False when the demuxer wants no more.
    bool Push(unsigned char* data, std::size_t size);
    /// Lets all packets come out. Fails by `Failure` if there was no stream, and with what a taker threw.
    void Finish();

private:
    struct Disposer {
        void operator()(CDemuxerMemBase* demuxer) const { demuxer->Delete(); }
    };

    int OnVideoStream(int streamIndex, int codecId) override;
    int OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) override;
    int OnPacket(DEMUXER_PACKET* packet) override;
    template <typename Call>
    int Guarded(Call call);
    void TakeStream(const StreamInfo& stream);
    void StartOther(LibrarySession& session, const std::string& longName);
    void CheckThatStreamsCame() const;

    std::string m_Format;
    std::string m_Input;
    Takers m_Takers;
    EndFiller m_Filler;
    bool m_HasStreams = false;
    std::string m_LastLine;
    std::exception_ptr m_Thrown;
    ScopedListener m_Listening;
    std::unique_ptr<CDemuxerMemBase, Disposer> m_Demuxer;
};
