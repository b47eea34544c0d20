#pragma once

/// @file
/// Uncompressed pictures.

#include <boost/unordered_map.hpp>
#include <boost/version.hpp>
#include <memory>
#include <string>

#include "codrelay/built_with.h"
#include "codrelay/export.h"
#include "codrelay/utils/noncopyable.h"

#ifdef CODRELAY_BOOST_VERSION
static_assert(BOOST_VERSION / 100 == CODRELAY_BOOST_VERSION,
              "Codrelay was built with Boost " CODRELAY_BOOST_NAME
              ", and frames hold a container of Boost's, which other versions lay out in another way: "
              "compile with that Boost, or build Codrelay with yours");
#endif

/// An uncompressed picture: one contiguous block of pixels, planes back to back, rows without padding. For 4:2:0 the
/// planes are Y, U, V, the chroma planes (width + 1) / 2 by (height + 1) / 2.
///
/// Shared through `std::shared_ptr`. A decoder's picture may be held for as long as wanted, also after the decoder is
/// destroyed or has gone on to another picture size, and may be let go on any thread. Letting go of the last reference
/// gives the bytes back to the decoder, or frees them if it has no use for them any more. The object itself is not
/// locked: threads that write to one frame agree between themselves.
class CODRELAY_API CFrameBufferBase : utils::Noncopyable {
public:
    /// All numbers 0, no side data.
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

    /// The timestamp that was given with the packet, in the host's own unit; 0 where none was.
    long long m_nTimestamp;
    /// A `CSP_*` id. Decoders leave it 0: they deliver CVideoDecoderBase::GetOutputColorSpace(). Transforms set it.
    unsigned int m_nColorSpace;
    /// In pixels, 0 until set. A decoder that had to convert the picture leaves width and height 0: the size is then
    /// the one that the decoder was created with, or has changed to.
    unsigned int m_nWidth;
    /// The same for the height.
    unsigned int m_nHeight;
    /// Side data of the host's own; the library neither adds to it nor reads it. Costs nothing while it is empty.
    boost::unordered_map<std::string, std::shared_ptr<void>> m_Extras;
};

/// What the creator of a decoder may implement to be asked for room when the decoder's pool is empty. Not owned by the
/// decoder; must live until the decoder is destroyed by DestroyDecoder().
class CODRELAY_API CFrameBufferStreamCallback {
public:
    virtual ~CFrameBufferStreamCallback();

    /// The host holds all of the decoder's buffers. Runs on the decoding thread with no lock held, so frames may be let
    /// go from inside it, or by other threads meanwhile. True: look again, and ask again at once if still nothing came
    /// back, without a limit or a pause other than the callback's own. False: give up; the decoder's call fails with 4.
    virtual bool WaitForFreeFrame() = 0;
};
