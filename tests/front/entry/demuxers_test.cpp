#include <gmock/gmock.h>

#include <climits>
#include <memory>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "common/log_capture.h"
#include "common/test_media.h"

using testing::IsEmpty;

TEST(DemuxerFactories, TheFormatOfAFileDemuxerIsIgnored) {
    LogCapture log;
    for (const int format : {INT_MIN, -1, 0, 1, 2, 7, INT_MAX}) {
        const std::unique_ptr<CDemuxerFileBase> demuxer(Codrelay_DemuxerFile(format));
        ASSERT_NE(demuxer, nullptr);
        EXPECT_FALSE(demuxer->IsOpen());
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(DemuxerFactories, EachCallMakesAnObjectThatReads) {
    const std::unique_ptr<CDemuxerFileBase> one(NewFFmpegDemuxerFile());
    const std::unique_ptr<CDemuxerFileBase> other(NewFFmpegDemuxerFile());
    EXPECT_NE(one, other);
    EXPECT_TRUE(one->Open(Clip("demux_film.mp4").c_str(), nullptr));
    EXPECT_FALSE(other->IsOpen());
    EXPECT_EQ(one->ReadNextFrame(), 1);
}
