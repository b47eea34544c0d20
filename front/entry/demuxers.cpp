#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "container/demuxer_file.h"

CDemuxerFileBase* Codrelay_DemuxerFile(int /*format*/) {
    return NewFFmpegDemuxerFile();
}

CDemuxerFileBase* NewFFmpegDemuxerFile() {
    return new CDemuxerFile;
}
