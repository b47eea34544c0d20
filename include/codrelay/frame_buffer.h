#pragma once

#include <boost/unordered_map.hpp>
#include <memory>
#include <string>

#include "codrelay/export.h"
#include "codrelay/utils/noncopyable.h"

/// An uncompressed picture: one contiguous block of pixels, planes back to back, rows without padding. Shared through
/// `std::shared_ptr`; may be held and let go on any thread, and may outlive the decoder that it came from.
class CODRELAY_API CFrameBufferBase : utils::Noncopyable {
public:
    CFrameBufferBase();
    virtual ~CFrameBufferBase();

    /// The `CSP_*` id of the pixels, 0 where nobody set it: the field `m_nColorSpace`.
    virtual unsigned int GetColorSpace();
    /// The first byte of the pixels, writable. Good as long as the frame.
    virtual unsigned char* GetData() = 0;
    /// The same for reading.
    virtual const unsigned char* GetConstData() = 0;
    /// Room for further kinds of frames; 0.
    virtual int GetAuxiliary();

    /// The timestamp that was given with the packet, 0 where none was.
    long long m_nTimestamp;
    unsigned int m_nColorSpace;
    /// In pixels, 0 until set.
    unsigned int m_nWidth;
    unsigned int m_nHeight;
    /// Side data of the host's own; the library neither adds to it nor reads it.
    boost::unordered_map<std::string, std::shared_ptr<void>> m_Extras;
};

/// What the creator of a decoder may implement to be asked for room when the decoder's pool is empty.
class CODRELAY_API CFrameBufferStreamCallback {
public:
    virtual ~CFrameBufferStreamCallback();

    /// The pool has no buffer left. Runs on the decoding thread with no lock held, so frames may be let go from inside
    /// it or by other threads meanwhile. True: look again (and ask again if still nothing came back); false: give up.
    virtual bool WaitForFreeFrame() = 0;
};
