#pragma once

#include <algorithm>
#include <memory>

#include "codrelay/frame_buffer.h"

using Frame = std::shared_ptr<CFrameBufferBase>;

/// How many frames a pool has.
inline constexpr unsigned int kBudget = 8;

inline bool IsFilledWith(CFrameBufferBase& frame, unsigned int size, unsigned char value) {
    const unsigned char* data = frame.GetConstData();
    return std::all_of(data, data + size, [value](unsigned char byte) { return byte == value; });
}
