#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "codrelay/frame_buffer.h"

/// A hash over bytes that come in pieces. Cheap, and takes no memory.
class Fingerprint {
public:
    void Add(const void* bytes, std::size_t size);
    void Add(long long number) { Add(&number, sizeof(number)); }
    std::uint64_t Value() const { return m_nValue; }

private:
    std::uint64_t m_nValue = 14695981039346656037U;
};

/// One object of the library as a host drives it: Build, Create, Work, Destroy, then Create again, or Delete. All that
/// a life needs beside the library's own memory it takes when it is made. Any call may be left by std::bad_alloc, and
/// any result that the library does not document ends in std::logic_error.
class Life {
public:
    virtual ~Life() = default;

    /// The factory. False where it gave nothing.
    virtual bool Build() = 0;
    virtual bool IsBuilt() const = 0;
    /// False where the object refused.
    virtual bool Create() { return true; }
    /// The working calls. Nothing where one of them failed; else the fingerprint of all that came out, which is the
    /// same for each life of a kind.
    virtual std::optional<std::uint64_t> Work() = 0;
    /// Leaves the object ready for Create, or not built at all.
    virtual void Destroy() {}
    virtual void Delete() = 0;
};

/// Builds the object if it is not there, creates it, and lets it work: what came out of it.
std::optional<std::uint64_t> LeadLife(Life* life);
void DestroyIfBuilt(Life* life);
/// Leaves nothing, whatever has become of the object.
void EndLife(Life* life);

using FrameUser = std::function<void(std::shared_ptr<CFrameBufferBase>&)>;

/// A kind of lives. Several lives of a kind may be led at the same time.
struct LifeKind {
    std::string name;
    /// `useFrame` gets each picture that a video decoder delivers, before the next is decoded into the same pointer.
    /// `scratchFile` is where a file muxer writes; one for each life that is led at the same time.
    std::function<std::unique_ptr<Life>(const FrameUser& useFrame, const std::string& scratchFile)> begin;
    /// A muxer leaves FFmpeg's insides of its container behind when it goes, and documents that.
    bool leavesFfmpegBehind = false;
};

/// Lives of all objects that the factories make, on short clips.
const std::vector<LifeKind>& AllLifeKinds();

/// For the test framework, which would print the bytes otherwise.
void PrintTo(const LifeKind& kind, std::ostream* out);
