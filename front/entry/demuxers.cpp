#include <memory>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "container/demuxer_file.h"
#include "container/demuxer_mem.h"
#include "support/log_front.h"

namespace {

const char* MemoryFormatName(int format) {
    switch (format) {
        case DEMUXER_FORMAT_WAV:
            return "WAV format";
        case DEMUXER_FORMAT_ASF:
            return "ASF format";
        default:
            return "unknown";
    }
}

}  // namespace

CDemuxerMemBase* Codrelay_DemuxerMem(int format, CDemuxerMemCallback* callback) {
    return NewFFmpegDemuxerMem(format, callback);
}

CDemuxerFileBase* Codrelay_DemuxerFile(int /*format*/) {
    return NewFFmpegDemuxerFile();
}

CDemuxerFileBase* NewFFmpegDemuxerFile() {
    return new CDemuxerFile;
}

CDemuxerMemBase* NewFFmpegDemuxerMem(int format, CDemuxerMemCallback* callback) {
    auto demuxer = std::make_unique<CDemuxerMem>();
    // The name is looked up on the reader thread; only a thread that does not start fails here.
    if (demuxer->Create(MemoryFormatName(format), callback) == 0) {
        FFMPEG_LOG(Critical) << "NewFFmpegDemuxerMem: create failed " << format;
        return nullptr;
    }
    return demuxer.release();
}
