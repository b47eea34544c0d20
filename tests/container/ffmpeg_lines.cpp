#include "container/ffmpeg_lines.h"

#include "support/ffmpeg.h"

namespace {

std::string g_Text;

void Keep(void* source, int level, const char* format, va_list arguments) {
    if (level <= AV_LOG_INFO) {
        char line[1024];
        int prefix = 0;
        av_log_format_line(source, level, format, arguments, line, sizeof(line), &prefix);
        g_Text += line;
    }
}

}  // namespace

FfmpegLines::FfmpegLines() {
    g_Text.clear();
    av_log_set_callback(Keep);
}

FfmpegLines::~FfmpegLines() {
    av_log_set_callback(av_log_default_callback);
}

const std::string& FfmpegLines::Text() const {
    return g_Text;
}
