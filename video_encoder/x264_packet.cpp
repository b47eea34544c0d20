#include "video_encoder/x264_packet.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

constexpr unsigned char kStartCode[] = {0, 0, 0, 1};
constexpr int kTypeMask = 31;
constexpr int kSei = 6;

using Bytes = const unsigned char*;

/// Where the next NAL unit begins: behind a start code, of which three bytes are sure. The end where there is none.
Bytes NextUnit(Bytes from, Bytes end) {
    const Bytes code = std::search(from, end, kStartCode + 1, std::end(kStartCode));
    return code != end ? code + 3 : end;
}

/// Where the unit ends that is followed by another one or by the end. No unit ends in a zero.
Bytes EndOfUnit(Bytes unit, Bytes next, Bytes end) {
    const Bytes last = next != end ? next - 3 : end;
    return last != unit && last[-1] == 0 ? last - 1 : last;
}

/// Appends to what has been counted, and writes where there is room to write.
void Append(unsigned char* out, int* size, Bytes from, Bytes to) {
    if (out != nullptr) {
        std::copy(from, to, out + *size);
    }
    *size += static_cast<int>(to - from);
}

}  // namespace

int CopyAsOpenH264(const AVPacket& packet, unsigned char* out) {
    const Bytes end = packet.data + packet.size;
    int size = 0;
    for (Bytes unit = NextUnit(packet.data, end); unit != end;) {
        const Bytes next = NextUnit(unit, end);
        if ((*unit & kTypeMask) != kSei) {
            Append(out, &size, std::begin(kStartCode), std::end(kStartCode));
            Append(out, &size, unit, EndOfUnit(unit, next, end));
        }
        unit = next;
    }
    return size;
}
