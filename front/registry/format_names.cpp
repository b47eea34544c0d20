#include "front/registry/format_names.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

struct Alias {
    const char* shortName;
    const char* hostName;
};

constexpr Alias kMuxerAliases[] = {
    {"flv", "FLV format"},
    {"3gp", "3GP format"},
    {"3g2", "3GP2 format"},
    {"webm", "WebM file format"},
    {"mpegts", "MPEG-2 transport stream format"},
};

constexpr Alias kDemuxerAliases[] = {
    {"wav", "WAV format"},
    {"asf", "ASF format"},
};

// By the short name, which no two demuxers share: FFmpeg has two of ASF with one long name.
template <std::size_t N, typename Format>
const char* HostName(const Alias (&aliases)[N], const Format* format) {
    if (format->name == nullptr) {
        return format->long_name;
    }
    const auto found = std::find_if(std::begin(aliases), std::end(aliases), [format](const Alias& alias) {
        return std::strcmp(alias.shortName, format->name) == 0;
    });
    return found != std::end(aliases) ? found->hostName : format->long_name;
}

}  // namespace

const char* LongNameOf(const AVOutputFormat* format) {
    return HostName(kMuxerAliases, format);
}

const char* LongNameOf(const AVInputFormat* format) {
    return HostName(kDemuxerAliases, format);
}
