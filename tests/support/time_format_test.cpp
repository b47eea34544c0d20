#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>

#include "codrelay/utils/time.h"
#include "common/host_locale.h"
#include "time_zone.h"

namespace {

using testing::HasSubstr;

constexpr long kNewYear2020 = 1577836800;
constexpr long kLongMax = std::numeric_limits<long>::max();
constexpr long kLongMin = std::numeric_limits<long>::min();

tm Fields(long t) {
    tm out{};
    EXPECT_TRUE(utils::GmTime(t, &out));
    return out;
}

/// What TmToStr throws; an empty text if it does not.
std::string Thrown(const char* format, unsigned long maxSize) {
    try {
        utils::TmToStr(Fields(0), format, maxSize);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string TooLong(unsigned long maxSize) {
    return "TmToStr(): formatted result exceeds max buffer size: " + std::to_string(maxSize);
}

bool Formats(const std::string& format, unsigned long maxSize) {
    return Thrown(format.c_str(), maxSize).empty();
}

TEST(TmToStr, FormatsByTheRulesOfStrftime) {
    EXPECT_EQ(utils::TmToStr(Fields(kNewYear2020), "%d.%m.%Y", 100), "01.01.2020");
    EXPECT_EQ(utils::TmToStr(Fields(kNewYear2020 + 3661)), "2020/01/01 01:01:01");
    EXPECT_EQ(utils::TmToStr(Fields(1580515198)), "2020/01/31 23:59:58");
}

TEST(TmToStr, ThrowsForAnEmptyResult) {
    EXPECT_EQ(Thrown("", 65535), TooLong(65535));
    EXPECT_EQ(Thrown("", 1000), TooLong(1000));
    EXPECT_EQ(Thrown("", 0), TooLong(0));
    tm noZone{};
    noZone.tm_isdst = -1;
    EXPECT_THROW(utils::TmToStr(noZone, "%Z", 65535), std::runtime_error);
    EXPECT_THROW(utils::TimeToStr(0, ""), std::runtime_error);
    EXPECT_THROW(utils::TimeToStrUtc(0, ""), std::runtime_error);
}

TEST(TmToStr, TriesTheFirst64BytesWhateverTheLimitIs) {
    EXPECT_EQ(utils::TmToStr(Fields(0), "%Y", 0), "1970");
    // 62 characters and the terminator fill the 63 bytes that strftime may use.
    EXPECT_EQ(utils::TmToStr(Fields(0), "%062Y", 0), std::string(58, '0') + "1970");
    EXPECT_EQ(Thrown("%063Y", 0), TooLong(0));
    EXPECT_EQ(Thrown("%063Y", 128), TooLong(128));
    EXPECT_EQ(utils::TmToStr(Fields(0), "%063Y", 129), std::string(59, '0') + "1970");
}

TEST(TmToStr, StartsAtTwiceTheLengthOfALongFormat) {
    // 32 characters are the most for the 64 bytes on the stack.
    EXPECT_TRUE(Formats(std::string(32, 'x'), 0));
    EXPECT_FALSE(Formats(std::string(33, 'x'), 66));
    EXPECT_TRUE(Formats(std::string(33, 'x'), 67));
    EXPECT_EQ(utils::TmToStr(Fields(0), std::string(33, 'x').c_str(), 65535), std::string(33, 'x'));
    EXPECT_FALSE(Formats(std::string(100, 'x'), 200));
    EXPECT_TRUE(Formats(std::string(100, 'x'), 201));
}

TEST(TmToStr, DoublesUntilTheTextFits) {
    // strftime gets one byte less than the buffer has, and needs one for the terminator.
    for (const unsigned long size : {128UL, 256UL, 4096UL, 32768UL}) {
        const std::string fits = "%0" + std::to_string(size - 2) + "Y";
        const std::string tooLong = "%0" + std::to_string(size - 1) + "Y";
        EXPECT_EQ(utils::TmToStr(Fields(0), fits.c_str(), size + 1).size(), size - 2);
        EXPECT_EQ(Thrown(fits.c_str(), size), TooLong(size));
        EXPECT_EQ(Thrown(tooLong.c_str(), size + 1), TooLong(size + 1));
        EXPECT_EQ(Thrown(tooLong.c_str(), 2 * size), TooLong(2 * size));
        EXPECT_EQ(utils::TmToStr(Fields(0), tooLong.c_str(), 2 * size + 1).size(), size - 1);
    }
}

TEST(TmToStr, StartsADoublingFromALongFormatAtItsOwnSize) {
    // 34 characters give 68 and then 136 bytes, not 128.
    const std::string format = "%0133Y" + std::string(28, '%');
    ASSERT_EQ(format.size(), 34U);
    EXPECT_EQ(Thrown(format.c_str(), 136), TooLong(136));
    EXPECT_EQ(Thrown(format.c_str(), 137), TooLong(137));
    const std::string shorter = "%0120Y" + std::string(28, '%');
    EXPECT_EQ(Thrown(shorter.c_str(), 136), TooLong(136));
    EXPECT_EQ(utils::TmToStr(Fields(0), shorter.c_str(), 137).size(), 134U);
}

TEST(TmToStr, SurvivesFieldsWithoutMeaning) {
    tm wild{};
    wild.tm_mon = 99;
    wild.tm_wday = -5;
    EXPECT_EQ(utils::TmToStr(wild, "%B %A", 65535), "? ?");
}

TEST(TimeToStr, FollowsTheTimeZone) {
    struct Row {
        const char* zone;
        const char* text;
    };
    for (const Row& row : {Row{"UTC", "2020-01-01 00:00"}, Row{"Europe/Berlin", "2020-01-01 01:00"},
                           Row{"America/St_Johns", "2019-12-31 20:30"}, Row{"Asia/Kathmandu", "2020-01-01 05:45"}}) {
        const ScopedTimeZone zone(row.zone);
        EXPECT_EQ(utils::TimeToStr(kNewYear2020, "%Y-%m-%d %H:%M"), row.text);
        EXPECT_EQ(utils::TimeToStrUtc(kNewYear2020, "%Y-%m-%d %H:%M"), "2020-01-01 00:00");
    }
}

TEST(TimeToStr, HasTheLimitOf65535) {
    for (const auto format : {&utils::TimeToStr, &utils::TimeToStrUtc}) {
        // Twice the length is the first buffer.
        EXPECT_EQ(format(0, std::string(32767, 'x').c_str()).size(), 32767U);
        try {
            format(0, std::string(32768, 'x').c_str());
            FAIL() << "a buffer of 65536 bytes was taken";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), TooLong(65535));
        }
    }
}

TEST(TimeToStr, JumpsWithDaylightSaving) {
    const ScopedTimeZone zone("Europe/Berlin");
    EXPECT_EQ(utils::TimeToStr(1616893199, "%H:%M:%S %Z"), "01:59:59 CET");
    EXPECT_EQ(utils::TimeToStr(1616893200, "%H:%M:%S %Z"), "03:00:00 CEST");
}

TEST(TimeToStr, StartsFromZerosWhereTheYearDoesNotFit) {
    for (const long t : {kLongMax, kLongMin}) {
        EXPECT_EQ(utils::TimeToStr(t, "%m-%d"), "01-00");
        EXPECT_EQ(utils::TimeToStrUtc(t, "%m-%d"), "01-00");
        EXPECT_THAT(utils::TimeToStr8601(t, true), HasSubstr("-01-00T"));
        EXPECT_THAT(utils::TimeToStr8601Utc(t, false), HasSubstr("0100T"));
    }
}

TEST(TimeToStr8601, WritesLocalTimeWithAZ) {
    const ScopedTimeZone zone("America/St_Johns");
    EXPECT_EQ(utils::TimeToStr8601(kNewYear2020, true), "2019-12-31T20:30:00Z");
    EXPECT_EQ(utils::TimeToStr8601(kNewYear2020, false), "20191231T203000Z");
}

TEST(TimeToStr8601Utc, WritesUtcInEveryZone) {
    for (const char* const name : kZones) {
        const ScopedTimeZone zone(name);
        EXPECT_EQ(utils::TimeToStr8601Utc(kNewYear2020, true), "2020-01-01T00:00:00Z");
        EXPECT_EQ(utils::TimeToStr8601Utc(kNewYear2020, false), "20200101T000000Z");
        EXPECT_EQ(utils::TimeMsToStr8601Utc(kNewYear2020 * 1000, true), "2020-01-01T00:00:00.000Z");
    }
}

TEST(TimeToStr8601Utc, WritesTheEdges) {
    EXPECT_EQ(utils::TimeToStr8601Utc(0, true), "1970-01-01T00:00:00Z");
    EXPECT_EQ(utils::TimeToStr8601Utc(-1, true), "1969-12-31T23:59:59Z");
    EXPECT_EQ(utils::TimeToStr8601Utc(2147483648, true), "2038-01-19T03:14:08Z");
    EXPECT_EQ(utils::TimeToStr8601Utc(1582934400, true), "2020-02-29T00:00:00Z");
    EXPECT_EQ(utils::TimeToStr8601Utc(253402300799, true), "9999-12-31T23:59:59Z");
}

TEST(TimeMsToStr8601Utc, WritesThreeDigitsOfMilliseconds) {
    EXPECT_EQ(utils::TimeMsToStr8601Utc(0, true), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(5, true), "1970-01-01T00:00:00.005Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(1577836800123, true), "2020-01-01T00:00:00.123Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(253402300799999, true), "9999-12-31T23:59:59.999Z");
}

TEST(TimeMsToStr8601Utc, HasNoPointInTheCompactForm) {
    EXPECT_EQ(utils::TimeMsToStr8601Utc(5, false), "19700101T000000005Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(1577836800123, false), "20200101T000000123Z");
}

TEST(TimeMsToStr8601Utc, RoundsNegativeTimesTowardZeroAndPrintsTheSign) {
    EXPECT_EQ(utils::TimeMsToStr8601Utc(-5, true), "1970-01-01T00:00:00.-05Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(-123, true), "1970-01-01T00:00:00.-123Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(-1000, true), "1969-12-31T23:59:59.000Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(-1001, false), "19691231T235959-01Z");
}

TEST(TimeMsToStr8601Utc, WritesTheSameInAnyLocaleOfTheHost) {
    const HostLocale host;
    EXPECT_EQ(utils::TimeMsToStr8601Utc(1577836800123, true), "2020-01-01T00:00:00.123Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(1577836800123, false), "20200101T000000123Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(-123, true), "1970-01-01T00:00:00.-123Z");
}

TEST(TimeMsToStr8601Utc, TakesEveryNumber) {
    EXPECT_EQ(utils::TimeMsToStr8601Utc(std::numeric_limits<long long>::max(), true), "292278994-08-17T07:12:55.807Z");
    EXPECT_EQ(utils::TimeMsToStr8601Utc(std::numeric_limits<long long>::min(), true),
              "-292275055-05-16T16:47:05.-808Z");
}

}  // namespace
