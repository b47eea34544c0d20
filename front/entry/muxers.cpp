#include <memory>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/ffmpeg_vocabulary.h"
#include "container/muxer_file.h"
#include "container/muxer_mem.h"
#include "front/registry/media_vocabulary.h"
#include "support/log_front.h"

namespace {

int FfmpegVideoCodec(int id) {
    return id >= VIDEO_CODEC_FLV && id <= VIDEO_CODEC_H265 ? VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV] : 0;
}

// The muxers work with FFmpeg's ids; the caller's record stays as it is. 0 means that the stream is absent.
MUXER_PARAM InFfmpegIds(const MUXER_PARAM& param) {
    MUXER_PARAM copy = param;
    copy.videoCodec = FfmpegVideoCodec(param.videoCodec);
    copy.audioCodec = AudioCodecToAvCodecId(param.audioCodec);
    return copy;
}

/// Ends a muxer that the host never sees, also where its set-up was left by an exception.
struct Discard {
    template <typename Muxer>
    void operator()(Muxer* muxer) const {
        muxer->Destroy();
        delete muxer;
    }
};

}  // namespace

CMuxerMemBase* Codrelay_MuxerMem(int format, MUXER_PARAM* param) {
    return NewFFmpegMuxerMem(format, param);
}

CMuxerFileBase* Codrelay_MuxerFile(int format, MUXER_PARAM* param, const char* fileName) {
    return NewFFmpegMuxerFile(format, param, fileName);
}

CMuxerMemBase* NewFFmpegMuxerMem(int format, MUXER_PARAM* param) {
    if (param == nullptr) {
        FFMPEG_LOG(Error) << "Create Muxer " << format << " failed! Wrong param!";
        return nullptr;
    }
    MUXER_PARAM copy = InFfmpegIds(*param);
    FFMPEG_LOG(Trace) << "NewFFmpegMuxerMem: Loading muxer... " << format;
    std::unique_ptr<CMuxerMem, Discard> muxer(new CMuxerMem);
    if (muxer->Create(GetMuxerFormatName(format), &copy) == 0) {
        muxer.reset();
        FFMPEG_LOG(Critical) << "Create Muxer " << format << " failed!";
    }
    return muxer.release();
}

CMuxerFileBase* NewFFmpegMuxerFile(int format, MUXER_PARAM* param, const char* fileName) {
    if (param == nullptr) {
        FFMPEG_LOG(Info) << "NewFFmpegMuxerFile: Create Muxer " << format << " failed! Wrong param!";
        return nullptr;
    }
    MUXER_PARAM copy = InFfmpegIds(*param);
    FFMPEG_LOG(Trace) << "NewFFmpegMuxerFile: Loading muxer... " << format;
    std::unique_ptr<CMuxerFile, Discard> muxer(new CMuxerFile);
    if (muxer->Create(fileName, GetMuxerFormatName(format), &copy) == 0) {
        muxer.reset();
        FFMPEG_LOG(Critical) << "NewFFmpegMuxerFile: Create " << format << " failed!";
    }
    return muxer.release();
}
