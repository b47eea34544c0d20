#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/codecs_at_hand.h"
#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "encoder_under_test.h"
#include "ffmpeg_script.h"
#include "test_picture.h"

using testing::AnyOf;

namespace {

struct Rates {
    unsigned int bitRate;
    unsigned int frameRate;
};

/// What the rates give. All else is the same for all rates.
struct RateFields {
    Rates rates;
    int tolerance;
    long long maxRate;
    int bufferSize;
    int occupancy;
};

void PrintTo(const RateFields& fields, std::ostream* out) {
    *out << fields.rates.bitRate << " at " << fields.rates.frameRate;
}

std::string RatesWord(const testing::TestParamInfo<RateFields>& info) {
    return std::to_string(info.param.rates.bitRate) + "At" + std::to_string(info.param.rates.frameRate);
}

/// A setting that FFmpeg 4 keeps in every context, and later generations among the codec's own options, by its name in
/// both: what the context holds of it, else what is asked for among the options, else nothing.
std::string MovedSetting(const AVCodecContext& context, const AVDictionary* options, const char* name) {
    int64_t value = 0;
    if (av_opt_get_int(const_cast<AVCodecContext*>(&context), name, 0, &value) >= 0) {
        return std::to_string(value);
    }
    const AVDictionaryEntry* entry = av_dict_get(options, name, nullptr, 0);
    return entry != nullptr ? entry->value : "";
}

/// What an open encoder has taken of it.
int64_t TakenSetting(AVCodecContext* context, const char* name) {
    int64_t value = -1;
    if (av_opt_get_int(context, name, 0, &value) < 0) {
        av_opt_get_int(context->priv_data, name, 0, &value);
    }
    return value;
}

class Tuning {
public:
    Tuning() {
        av_log_set_level(AV_LOG_QUIET);
        m_Ffmpeg.open = [this](AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
            const AVDictionaryEntry* equation = av_dict_get(*options, "rc_eq", nullptr, 0);
            m_Equation = equation != nullptr ? equation->value : "";
            m_OptionCount = av_dict_count(*options);
            m_Options.clear();
            for (const AVDictionaryEntry* entry = nullptr;
                 (entry = av_dict_get(*options, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr;) {
                m_Options.emplace_back(entry->key, entry->value);
            }
            m_SceneChangeThreshold = MovedSetting(*context, *options, "sc_threshold");
            m_Coder = MovedSetting(*context, *options, "coder");
            m_Check(*context);
            return __real_avcodec_open2(context, codec, options);
        };
    }

    /// Runs `check` on the context as it is handed to FFmpeg to be opened, and again once it is open.
    int CreateAndCheck(EncoderUnderTest& encoder, Rates rates, std::function<void(const AVCodecContext&)> check) {
        m_Checks = 0;
        m_Check = [&](const AVCodecContext& context) {
            ++m_Checks;
            check(context);
        };
        const int created = encoder.CreateWithRates(rates.frameRate, rates.bitRate);
        if (created == 1) {
            m_Check(*encoder.m_pCodecContext);
        }
        EXPECT_EQ(m_Checks, 1 + created);
        return created;
    }

    /// Only as it is handed to FFmpeg.
    int CreateAndCheckBefore(EncoderUnderTest& encoder, Rates rates, std::function<void(const AVCodecContext&)> check) {
        m_Checks = 0;
        m_Check = [&](const AVCodecContext& context) {
            ++m_Checks;
            check(context);
        };
        const int created = encoder.CreateWithRates(rates.frameRate, rates.bitRate);
        EXPECT_EQ(m_Checks, 1);
        return created;
    }

    std::string m_Equation;
    int m_OptionCount = -1;
    std::vector<std::pair<std::string, std::string>> m_Options;
    std::string m_SceneChangeThreshold;
    std::string m_Coder;
    FfmpegScript m_Ffmpeg;

private:
    LogCapture m_Log;
    std::function<void(const AVCodecContext&)> m_Check = [](const AVCodecContext&) {};
    int m_Checks = 0;
};

/// A context of that codec as FFmpeg makes it.
class FreshContext {
public:
    explicit FreshContext(int id)
        : m_pContext(avcodec_alloc_context3(avcodec_find_encoder_by_name(GetFFmpegVideoEncoderName(id)))) {}
    ~FreshContext() { avcodec_free_context(&m_pContext); }
    FreshContext(const FreshContext&) = delete;
    FreshContext& operator=(const FreshContext&) = delete;
    const AVCodecContext* operator->() const { return m_pContext; }

private:
    AVCodecContext* m_pContext;
};

void ExpectCommonFields(const AVCodecContext& context, int id) {
    EXPECT_EQ(context.codec_id, EncoderUnderTest::AvId(id));
    EXPECT_EQ(context.codec_type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(context.width, 176);
    EXPECT_EQ(context.height, 144);
    EXPECT_EQ(context.pix_fmt, id == VIDEO_CODEC_MJPEG ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P);
    EXPECT_EQ(context.max_b_frames, 0);
    EXPECT_EQ(context.gop_size, 50);
    // x264 would take a slice for each processor, OpenH264 takes a thread of its own accord.
    const bool x264 = id == VIDEO_CODEC_H264 && IsH264ByX264();
    EXPECT_EQ(context.thread_count, x264 ? 1 : FreshContext(id)->thread_count);
}

class TuningOfCodec : public testing::TestWithParam<int>, public Tuning {};
INSTANTIATE_TEST_SUITE_P(All, TuningOfCodec, kFiveCodecs, CodecWord);

TEST_P(TuningOfCodec, HasTheFieldsThatAllShare) {
    EncoderUnderTest encoder(GetParam());
    EXPECT_EQ(CreateAndCheck(encoder, {800000, 25},
                             [this](const AVCodecContext& context) {
                                 ExpectCommonFields(context, GetParam());
                                 EXPECT_EQ(context.bit_rate, 800000);
                             }),
              1);
}

TEST_P(TuningOfCodec, FillsZeroRatesWithDefaults) {
    EncoderUnderTest encoder(GetParam());
    EXPECT_EQ(CreateAndCheck(encoder, {0, 0},
                             [this](const AVCodecContext& context) {
                                 EXPECT_EQ(context.bit_rate, avcodec_is_open(const_cast<AVCodecContext*>(&context)) != 0
                                                                 ? DefaultBitRateOf(GetParam())
                                                                 : 1048576);
                             }),
              1);
}

TEST_P(TuningOfCodec, TakesThePictureClockFromTheFrameRateButForJpeg) {
    for (const auto& [frameRate, denominator] : {std::pair{25U, 25}, {0U, 20}, {1U, 1}, {65535U, 65535}}) {
        EncoderUnderTest encoder(GetParam());
        CreateAndCheckBefore(encoder, {800000, frameRate}, [&, den = denominator](const AVCodecContext& context) {
            EXPECT_EQ(context.time_base.num, 1);
            EXPECT_EQ(context.time_base.den, GetParam() == VIDEO_CODEC_MJPEG ? 1 : den);
        });
    }
}

TEST_P(TuningOfCodec, KeepsABitRateThatDoesNotFitAnInt) {
    EncoderUnderTest encoder(GetParam());
    CreateAndCheckBefore(encoder, {4294967295U, 25},
                         [](const AVCodecContext& context) { EXPECT_EQ(context.bit_rate, 4294967295); });
}

TEST_P(TuningOfCodec, CutsAFrameRateThatDoesNotFitAnInt) {
    EncoderUnderTest encoder(GetParam());
    CreateAndCheckBefore(encoder, {800000, 4294967295U}, [this](const AVCodecContext& context) {
        EXPECT_EQ(context.time_base.den, GetParam() == VIDEO_CODEC_MJPEG ? 1 : -1);
    });
}

class TuningOfSoftCodec : public TuningOfCodec {};
INSTANTIATE_TEST_SUITE_P(NotH264, TuningOfSoftCodec,
                         testing::Values(VIDEO_CODEC_FLV, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263, VIDEO_CODEC_MJPEG),
                         CodecWord);

TEST_P(TuningOfSoftCodec, HasTheFixedFieldsOfAllButH264) {
    const bool jpeg = GetParam() == VIDEO_CODEC_MJPEG;
    EncoderUnderTest encoder(GetParam());
    EXPECT_EQ(CreateAndCheck(encoder, {800000, 25},
                             [jpeg](const AVCodecContext& context) {
                                 EXPECT_EQ(context.rc_min_rate, 0);
                                 EXPECT_EQ(context.i_quant_factor, 0.71F);
                                 EXPECT_EQ(context.max_qdiff, 4);
                                 EXPECT_EQ(context.qmin, 2);
                                 EXPECT_EQ(context.qmax, jpeg ? 5 : 51);
                                 EXPECT_EQ(context.qcompress, 0.5F);
                                 EXPECT_EQ(context.qblur, 0.5F);
                                 EXPECT_EQ(context.me_range, 16);
                             }),
              1);
    EXPECT_EQ(m_SceneChangeThreshold, "50");
    EXPECT_EQ(TakenSetting(encoder.m_pCodecContext, "sc_threshold"), 50);
    EXPECT_EQ(m_OptionCount, IsReferenceFfmpeg() ? 0 : 1) << "later generations have the threshold as an option";
}

TEST_P(TuningOfSoftCodec, LeavesTheFieldsOfH264AsFfmpegMadeThem) {
    const FreshContext fresh(GetParam());
    EncoderUnderTest encoder(GetParam());
    const auto check = [&](const AVCodecContext& context) {
        EXPECT_EQ(context.me_subpel_quality, fresh->me_subpel_quality);
        EXPECT_EQ(context.me_cmp, fresh->me_cmp);
        EXPECT_EQ(context.ticks_per_frame, fresh->ticks_per_frame);
        EXPECT_EQ(context.trellis, fresh->trellis);
        EXPECT_EQ(context.refs, fresh->refs);
        EXPECT_EQ(context.level, fresh->level);
        const int qscale = GetParam() == VIDEO_CODEC_MJPEG ? AV_CODEC_FLAG_QSCALE : 0;
        EXPECT_EQ(context.flags, fresh->flags | qscale);
    };
    EXPECT_EQ(CreateAndCheckBefore(encoder, {800000, 25}, check), 1);
    EXPECT_EQ(m_Coder, MovedSetting(*fresh.operator->(), nullptr, "coder"));
}

TEST_P(TuningOfSoftCodec, ClearsAMinimumRateThatIsThere) {
    m_Ffmpeg.allocContext = [](const AVCodec* codec) {
        AVCodecContext* context = __real_avcodec_alloc_context3(codec);
        context->rc_min_rate = 4711;
        return context;
    };
    EncoderUnderTest encoder(GetParam());
    CreateAndCheckBefore(encoder, {800000, 25},
                         [](const AVCodecContext& context) { EXPECT_EQ(context.rc_min_rate, 0); });
}

class RateTuning : public testing::TestWithParam<RateFields>, public Tuning {
protected:
    /// The fields as they are handed to FFmpeg. JPEG alone keeps a tolerance of 0.
    void CheckCodec(int id) {
        const RateFields& expected = GetParam();
        EncoderUnderTest encoder(id);
        CreateAndCheckBefore(encoder, expected.rates, [&](const AVCodecContext& context) {
            const int floor = id == VIDEO_CODEC_MJPEG ? 0 : 1;
            EXPECT_EQ(context.bit_rate_tolerance, std::max(expected.tolerance, floor));
            EXPECT_EQ(context.rc_max_rate, expected.maxRate);
            EXPECT_EQ(context.rc_buffer_size, expected.bufferSize);
            EXPECT_EQ(context.rc_initial_buffer_occupancy, expected.occupancy);
        });
    }
};

INSTANTIATE_TEST_SUITE_P(
    NotH264, RateTuning,
    testing::Values(
        // The tolerance is the larger of b / f and b / 4; the ceiling 2 b, the buffer 4 b, three quarters full.
        RateFields{{800000, 25}, 200000, 1600000, 3200000, 2400000},
        RateFields{{800000, 3}, 266666, 1600000, 3200000, 2400000},
        RateFields{{800000, 1}, 800000, 1600000, 3200000, 2400000},
        RateFields{{0, 0}, 262144, 2097152, 4194304, 3145728}, RateFields{{0, 1}, 1048576, 2097152, 4194304, 3145728},
        RateFields{{800000, 0}, 200000, 1600000, 3200000, 2400000},
        // A tolerance of 0, which FFmpeg's rate control would divide by.
        RateFields{{1, 25}, 0, 2, 4, 3}, RateFields{{2, 25}, 0, 4, 8, 6}, RateFields{{3, 25}, 0, 6, 12, 9},
        RateFields{{3, 2}, 1, 6, 12, 9}, RateFields{{4, 25}, 1, 8, 16, 12},
        // 12 b beyond the signed range, then 4 b, 2 b.
        RateFields{{178956970, 25}, 44739242, 357913940, 715827880, 536870910},
        RateFields{{178956971, 25}, 44739242, 357913942, 715827884, -536870911},
        RateFields{{200000000, 25}, 50000000, 400000000, 800000000, -473741824},
        RateFields{{536870911, 25}, 134217727, 1073741822, 2147483644, 536870909},
        RateFields{{536870912, 25}, 134217728, 1073741824, -2147483647 - 1, -536870912},
        RateFields{{1073741824, 25}, 268435456, 2147483648, 0, 0}, RateFields{{2147483648, 25}, 536870912, 0, 0, 0},
        RateFields{{2147483648, 1}, 536870912, 0, 0, 0}, RateFields{{4294967295, 25}, 1073741823, 4294967294, -4, -3},
        RateFields{{4294967295, 1}, 1073741823, 4294967294, -4, -3},
        RateFields{{800000, 4294967295}, 200000, 1600000, 3200000, 2400000}),
    RatesWord);

TEST_P(RateTuning, OfFlv) {
    CheckCodec(VIDEO_CODEC_FLV);
}

TEST_P(RateTuning, OfMpeg4) {
    CheckCodec(VIDEO_CODEC_MPEG4);
}

TEST_P(RateTuning, OfH263) {
    CheckCodec(VIDEO_CODEC_H263);
}

TEST_P(RateTuning, OfJpeg) {
    CheckCodec(VIDEO_CODEC_MJPEG);
}

class H264Tuning : public testing::Test, public Tuning {
protected:
    EncoderUnderTest m_Encoder{VIDEO_CODEC_H264};
};

void ExpectFieldsOfOpenH264(const AVCodecContext& context) {
    EXPECT_EQ(context.rc_min_rate, 0);
    EXPECT_EQ(context.i_quant_factor, 0.71F);
    EXPECT_EQ(context.max_qdiff, 4);
    EXPECT_EQ(context.qmin, 10);
    EXPECT_EQ(context.qmax, 51);
    EXPECT_EQ(context.qcompress, 0.6F);
    EXPECT_EQ(context.qblur, 0.5F);
    EXPECT_EQ(context.me_range, 16);
    EXPECT_EQ(context.me_subpel_quality, 7);
    EXPECT_EQ(context.me_cmp, 256);
    // Later wrappers of OpenH264 read it, and would take the rate for half of it.
    EXPECT_EQ(context.ticks_per_frame, IsReferenceFfmpeg() ? 2 : 1);
    EXPECT_EQ(context.trellis, 1);
    EXPECT_EQ(context.refs, 5);
    EXPECT_EQ(context.level, 30);
    EXPECT_EQ(context.flags & AV_CODEC_FLAG_LOOP_FILTER, 0);
    EXPECT_EQ(context.flags & AV_CODEC_FLAG_4MV, AV_CODEC_FLAG_4MV);
}

/// x264 gets the rate and its own presets, and nothing that would speak against those.
void ExpectFieldsOfX264(const AVCodecContext& context) {
    const FreshContext fresh(VIDEO_CODEC_H264);
    EXPECT_EQ(context.rc_min_rate, 0);
    EXPECT_EQ(context.qmin, 10);
    EXPECT_EQ(context.qmax, 51);
    EXPECT_EQ(context.i_quant_factor, fresh->i_quant_factor);
    EXPECT_EQ(context.max_qdiff, fresh->max_qdiff);
    EXPECT_EQ(context.qcompress, fresh->qcompress);
    EXPECT_EQ(context.qblur, fresh->qblur);
    EXPECT_EQ(context.me_range, fresh->me_range);
    EXPECT_EQ(context.me_subpel_quality, fresh->me_subpel_quality);
    EXPECT_EQ(context.me_cmp, fresh->me_cmp);
    EXPECT_EQ(context.trellis, fresh->trellis);
    EXPECT_EQ(context.refs, fresh->refs);
    EXPECT_EQ(context.level, fresh->level);
    EXPECT_EQ(context.flags, fresh->flags);
}

TEST_F(H264Tuning, HasItsFixedFields) {
    EXPECT_EQ(CreateAndCheck(m_Encoder, {800000, 25}, IsH264ByX264() ? ExpectFieldsOfX264 : ExpectFieldsOfOpenH264), 1);
}

TEST_F(H264Tuning, HasItsFixedOptions) {
    ASSERT_EQ(m_Encoder.Create(), 1);
    if (IsH264ByX264()) {
        EXPECT_THAT(m_Options, testing::UnorderedElementsAre(testing::Pair("preset", "superfast"),
                                                             testing::Pair("tune", "zerolatency"),
                                                             testing::Pair("profile", "baseline")));
        return;
    }
    EXPECT_EQ(m_Equation, "blurCplx^(1-qComp)");
    EXPECT_EQ(m_SceneChangeThreshold, "40");
    EXPECT_EQ(m_Coder, IsReferenceFfmpeg() ? "0" : "cavlc");
    EXPECT_EQ(TakenSetting(m_Encoder.m_pCodecContext, "coder"), 0);
    EXPECT_EQ(m_OptionCount, IsReferenceFfmpeg() ? 1 : 3) << "later generations have the two above as options";
}

TEST_F(H264Tuning, LeavesTheOthersFieldsAlone) {
    m_Ffmpeg.allocContext = [](const AVCodec* codec) {
        AVCodecContext* context = __real_avcodec_alloc_context3(codec);
        context->rc_min_rate = 4711;
        context->rc_initial_buffer_occupancy = 4712;
        context->flags |= AV_CODEC_FLAG_LOOP_FILTER | AV_CODEC_FLAG_BITEXACT;
        return context;
    };
    CreateAndCheckBefore(m_Encoder, {800000, 25}, [](const AVCodecContext& context) {
        EXPECT_EQ(context.rc_min_rate, 4711);
        EXPECT_EQ(context.rc_initial_buffer_occupancy, 4712);
        EXPECT_EQ((context.flags & AV_CODEC_FLAG_LOOP_FILTER) != 0, IsH264ByX264()) << "x264 keeps its filter";
        EXPECT_EQ(context.flags & AV_CODEC_FLAG_BITEXACT, AV_CODEC_FLAG_BITEXACT);
    });
}

TEST_F(H264Tuning, KeepsTheOptionThatFfmpegDoesNotKnowUntilDestroy) {
    ASSERT_EQ(m_Encoder.Create(), 1);
    if (IsH264ByX264()) {
        EXPECT_EQ(m_Encoder.m_pOpenOptions, nullptr) << "x264's wrapper knows each of its options";
        return;
    }
    ASSERT_NE(m_Encoder.m_pOpenOptions, nullptr);
    EXPECT_STREQ(av_dict_get(m_Encoder.m_pOpenOptions, "rc_eq", nullptr, 0)->value, "blurCplx^(1-qComp)");
    m_Encoder.Destroy(1);
    EXPECT_EQ(m_Encoder.m_pOpenOptions, nullptr);
}

// OpenH264 does both by itself.
TEST(H264Tuned, LeavesOutAnOddRowAndColumnAndHasNoKeyPictureWithoutAnInterval) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    EncoderUnderTest encoder(VIDEO_CODEC_H264);
    ASSERT_EQ(encoder.CreateEncoder(CSP_YUV420P, 177, 145, 25, 800000, 0, 1, 0), 1);
    const bool x264 = IsH264ByX264();
    EXPECT_EQ(encoder.m_pCodecContext->width, x264 ? 176 : 177);
    EXPECT_EQ(encoder.m_pCodecContext->height, x264 ? 144 : 145);
    EXPECT_EQ(encoder.m_pCodecContext->gop_size, x264 ? 2147483647 : 0);
}

class H264RateTuning : public testing::TestWithParam<RateFields>, public Tuning {};

INSTANTIATE_TEST_SUITE_P(H264, H264RateTuning,
                         testing::Values(RateFields{{800000, 25}, 800000, 800000, 400000, 0},
                                         RateFields{{0, 0}, 1048576, 1048576, 524288, 0},
                                         RateFields{{1, 25}, 1, 1, 0, 0}, RateFields{{3, 1}, 3, 3, 1, 0},
                                         RateFields{{200000000, 25}, 200000000, 200000000, 100000000, 0},
                                         RateFields{{2147483647, 25}, 2147483647, 2147483647, 1073741823, 0},
                                         RateFields{{2147483648, 25}, -2147483647 - 1, 2147483648, 1073741824, 0},
                                         RateFields{{4294967295, 25}, -1, 4294967295, 2147483647, 0}),
                         RatesWord);

TEST_P(H264RateTuning, IsTheRateItselfWithABufferOfHalfASecond) {
    const RateFields& expected = GetParam();
    EncoderUnderTest encoder(VIDEO_CODEC_H264);
    CreateAndCheckBefore(encoder, expected.rates, [&](const AVCodecContext& context) {
        EXPECT_EQ(context.bit_rate_tolerance, expected.tolerance);
        EXPECT_EQ(context.rc_max_rate, expected.maxRate);
        EXPECT_EQ(context.rc_buffer_size, expected.bufferSize);
        // Untouched; FFmpeg's own value for x264 is another.
        EXPECT_EQ(context.rc_initial_buffer_occupancy, IsH264ByX264() ? -1 : expected.occupancy);
    });
}

struct OpenCase {
    int id;
    Rates rates;
    int created;
};

void PrintTo(const OpenCase& open, std::ostream* out) {
    *out << VideoCodecLogName[open.id] << " " << open.rates.bitRate << " at " << open.rates.frameRate;
}

std::vector<OpenCase> OpenCases() {
    std::vector<OpenCase> cases;
    for (const int id : {VIDEO_CODEC_FLV, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263, VIDEO_CODEC_MJPEG}) {
        for (const unsigned int bitRate : {1U, 2U, 3U, 24U, 200000000U, 536870911U}) {
            cases.push_back({id, {bitRate, 25}, 1});
        }
        // A ceiling without a buffer, for which MPEG-4 alone finds one; or neither; or a negative buffer.
        cases.push_back({id, {1073741824, 25}, id == VIDEO_CODEC_MPEG4 ? 1 : 0});
        cases.push_back({id, {2147483648, 25}, 1});
        cases.push_back({id, {536870912, 25}, 0});
        cases.push_back({id, {4294967295, 25}, 0});
    }
    // OpenH264 wants a bit for each picture at least, x264 a thousand a second, and sets no limit.
    const int x264 = IsH264ByX264() ? 1 : 0;
    for (const unsigned int bitRate : {25U, 999U}) {
        cases.push_back({VIDEO_CODEC_H264, {bitRate, 25}, 1 - x264});
    }
    for (const unsigned int bitRate : {1000U, 200000000U, 288000000U}) {
        cases.push_back({VIDEO_CODEC_H264, {bitRate, 25}, 1});
    }
    for (const unsigned int bitRate : {1U, 24U}) {
        cases.push_back({VIDEO_CODEC_H264, {bitRate, 25}, 0});
    }
    for (const unsigned int bitRate : {288000001U, 536870911U, 1073741824U, 4294967295U}) {
        cases.push_back({VIDEO_CODEC_H264, {bitRate, 25}, x264});
    }
    cases.push_back({VIDEO_CODEC_MPEG4, {800000, 65535}, 1});
    cases.push_back({VIDEO_CODEC_MPEG4, {800000, 65536}, 0});
    return cases;
}

class OpenWithRates : public testing::TestWithParam<OpenCase> {};

INSTANTIATE_TEST_SUITE_P(All, OpenWithRates, testing::ValuesIn(OpenCases()), [](const auto& test) {
    return std::string(VideoCodecLogName[test.param.id]) + std::to_string(test.param.rates.bitRate) + "At" +
           std::to_string(test.param.rates.frameRate);
});

TEST_P(OpenWithRates, EncodesWhatItOpens) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    EncoderUnderTest encoder(GetParam().id);
    ASSERT_EQ(encoder.CreateWithRates(GetParam().rates.frameRate, GetParam().rates.bitRate), GetParam().created);
    TestPicture picture(176, 144);
    std::vector<unsigned char> out(200000);
    for (unsigned int number = 0; GetParam().created == 1 && number < 10; ++number) {
        PaintScene(picture, number);
        int keyFrame = 0;
        EXPECT_GT(encoder.Encode(&picture, out.data(), static_cast<unsigned int>(out.size()), &keyFrame), 0);
    }
}

}  // namespace
