#include "front/registry/format_names.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

struct Alias {
    const char* ffmpegName;
    const char* hostName;
};

constexpr Alias kMuxerAliases[] = {
    {"FLV (Flash Video)", "FLV format"},
    {"3GP (3GPP file format)", "3GP format"},
    {"3GP2 (3GPP2 file format)", "3GP2 format"},
    {"WebM", "WebM file format"},
    {"MPEG-TS (MPEG-2 Transport Stream)", "MPEG-2 transport stream format"},
};

constexpr Alias kDemuxerAliases[] = {
    {"WAV / WAVE (Waveform Audio)", "WAV format"},
    {"ASF (Advanced / Active Streaming Format)", "ASF format"},
};

template <std::size_t N>
const char* HostName(const Alias (&aliases)[N], const char* longName) {
    if (longName == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(std::begin(aliases), std::end(aliases), [longName](const Alias& alias) {
        return std::strcmp(alias.ffmpegName, longName) == 0;
    });
    return found != std::end(aliases) ? found->hostName : longName;
}

}  // namespace

const char* LongNameOf(const AVOutputFormat* format) {
    return HostName(kMuxerAliases, format->long_name);
}

const char* LongNameOf(const AVInputFormat* format) {
    return HostName(kDemuxerAliases, format->long_name);
}
