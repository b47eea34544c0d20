#include "codrelay/frame_buffer.h"

namespace {
// Hosts that fill the side data count on room for this many entries without a rehash.
constexpr std::size_t kExtrasBuckets = 16;
}  // namespace

CFrameBufferBase::CFrameBufferBase()
    : m_nTimestamp(0), m_nColorSpace(0), m_nWidth(0), m_nHeight(0), m_Extras(kExtrasBuckets) {}

CFrameBufferBase::~CFrameBufferBase() = default;

unsigned int CFrameBufferBase::GetColorSpace() {
    return m_nColorSpace;
}

int CFrameBufferBase::GetAuxiliary() {
    return 0;
}

CFrameBufferStreamCallback::~CFrameBufferStreamCallback() = default;
