#include "audio/audio_format_av.h"

#include <gtest/gtest.h>

#include <climits>

TEST(AudioFormatAv, EachFlagIsTheBitOfItsSampleFormat) {
    for (int format = AV_SAMPLE_FMT_U8; format <= AV_SAMPLE_FMT_DBLP; ++format) {
        EXPECT_EQ(AudioFormatFromAv(static_cast<AVSampleFormat>(format)), 1 << format);
        EXPECT_EQ(AudioFormatToAv(1 << format), format);
    }
}

TEST(AudioFormatAv, TheFlagsHaveTheirNames) {
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_U8), AV_SAMPLE_FMT_U8);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_S16), AV_SAMPLE_FMT_S16);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_S32), AV_SAMPLE_FMT_S32);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_FLT), AV_SAMPLE_FMT_FLT);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_DBL), AV_SAMPLE_FMT_DBL);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_U8P), AV_SAMPLE_FMT_U8P);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_S16P), AV_SAMPLE_FMT_S16P);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_S32P), AV_SAMPLE_FMT_S32P);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_FLTP), AV_SAMPLE_FMT_FLTP);
    EXPECT_EQ(AudioFormatToAv(AUDIO_SAMPLE_DBLP), AV_SAMPLE_FMT_DBLP);
}

TEST(AudioFormatAv, OtherSampleFormatsHaveNoFlag) {
    EXPECT_EQ(AudioFormatFromAv(AV_SAMPLE_FMT_NONE), 0);
    EXPECT_EQ(AudioFormatFromAv(AV_SAMPLE_FMT_S64), 0);
    EXPECT_EQ(AudioFormatFromAv(AV_SAMPLE_FMT_S64P), 0);
    EXPECT_EQ(AudioFormatFromAv(AV_SAMPLE_FMT_NB), 0);
}

TEST(AudioFormatAv, OtherFlagsAndSetsHaveNoSampleFormat) {
    for (const int flag : {0, 3, -1, 1023, 1024, 2048, INT_MIN, INT_MAX}) {
        EXPECT_EQ(AudioFormatToAv(flag), AV_SAMPLE_FMT_NONE) << flag;
    }
}
