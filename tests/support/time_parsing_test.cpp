#include <gmock/gmock.h>

#include <limits>
#include <locale>
#include <optional>

#include "codrelay/utils/time.h"
#include "common/host_locale.h"
#include "time_zone.h"

namespace {

using std::optional;

constexpr auto none = std::nullopt;
constexpr int kUntouched = -4711;

/// The seconds that `parse` gives; nothing where it fails, and then the output is left alone.
template <typename Parse>
optional<int> Seconds(Parse parse) {
    int seconds = kUntouched;
    if (parse(&seconds)) {
        return seconds;
    }
    EXPECT_EQ(seconds, kUntouched);
    return none;
}

optional<int> Clock(const std::string& text) {
    return Seconds([&](int* seconds) { return utils::ParseTimeString(text, seconds); });
}

optional<int> Clock(const std::string& text, const std::string& delims) {
    return Seconds([&](int* seconds) { return utils::ParseTimeString(text, delims, seconds); });
}

optional<int> Zone(const std::string& text) {
    return Seconds([&](int* seconds) { return utils::ParseTimezoneString(text, seconds); });
}

TEST(ParseTimeString, SumsHoursMinutesAndSeconds) {
    EXPECT_EQ(Clock("01:02:03"), 3723);
    EXPECT_EQ(Clock("23:59:59"), 86399);
    EXPECT_EQ(Clock("00:00:00"), 0);
    EXPECT_EQ(Clock("0:1"), 60);
}

TEST(ParseTimeString, TakesTheFirstTokenForTheHours) {
    EXPECT_EQ(Clock("12"), 43200);
    EXPECT_EQ(Clock("30"), none);
}

TEST(ParseTimeString, RefusesAValueAtItsLimit) {
    EXPECT_EQ(Clock("24:00:00"), none);
    EXPECT_EQ(Clock("23:60:00"), none);
    EXPECT_EQ(Clock("23:00:60"), none);
    EXPECT_EQ(Clock("-1:00:00"), none);
    EXPECT_EQ(Clock("1:-1"), none);
    EXPECT_EQ(Clock("99999999999"), none);
}

TEST(ParseTimeString, IgnoresTheFourthTokenAndAllBehindIt) {
    EXPECT_EQ(Clock("23:59:59:99"), 86399);
    EXPECT_EQ(Clock("1:2:3:x:"), 3723);
}

TEST(ParseTimeString, RefusesATokenThatIsNoNumber) {
    EXPECT_EQ(Clock(""), none);
    EXPECT_EQ(Clock("1::3"), none);
    EXPECT_EQ(Clock(":1"), none);
    EXPECT_EQ(Clock("1:"), none);
    EXPECT_EQ(Clock("1:2:"), none);
    EXPECT_EQ(Clock("x"), none);
}

TEST(ParseTimeString, ReadsTokensLeniently) {
    EXPECT_EQ(Clock(" 1: 2:+3 seconds"), 3723);
    EXPECT_EQ(Clock("1h:2m:3s"), 3723);
    EXPECT_EQ(Clock("-0:1"), 60);
}

TEST(ParseTimeString, SplitsAtAnyOfTheDelimiters) {
    EXPECT_EQ(Clock("1.2-3", ".-"), 3723);
    EXPECT_EQ(Clock("1:2:3", "."), 3600);
    EXPECT_EQ(Clock("1.2:3"), 3780);
    EXPECT_EQ(Clock("12:30", ""), 43200);
}

TEST(ParseTimezoneString, TakesTheSignAndTheClockBehindIt) {
    EXPECT_EQ(Zone("+03:00"), 10800);
    EXPECT_EQ(Zone("-05:30"), -19800);
    EXPECT_EQ(Zone("UTC+03:00"), 10800);
    EXPECT_EQ(Zone("UTC-3"), -10800);
    EXPECT_EQ(Zone("-00:00"), 0);
    EXPECT_EQ(Zone("+ 5:45 h"), 20700);
}

TEST(ParseTimezoneString, RefusesATextWithoutASignOrAClock) {
    EXPECT_EQ(Zone("05:30"), none);
    EXPECT_EQ(Zone(""), none);
    EXPECT_EQ(Zone("+"), none);
    EXPECT_EQ(Zone("-"), none);
    EXPECT_EQ(Zone("+24:00"), none);
    EXPECT_EQ(Zone("+x"), none);
    EXPECT_EQ(Zone("--1"), none);
}

TEST(ParseTimezoneString, TakesAPlusAnywhereBeforeAMinus) {
    EXPECT_EQ(Zone("a-02:00+01:00"), 3600);
    EXPECT_EQ(Zone("-02:00+x"), none);
    EXPECT_EQ(Zone("+01:00-02:00"), 3600);
}

tm Marked() {
    tm out{};
    out.tm_year = kUntouched;
    out.tm_isdst = kUntouched;
    return out;
}

testing::AssertionResult Untouched(const tm& value) {
    const bool same = value.tm_year == kUntouched && value.tm_mday == 0 && value.tm_isdst == kUntouched;
    return same ? testing::AssertionSuccess() : testing::AssertionFailure() << "the output was written";
}

/// The fields from the year down to the second.
std::vector<int> Fields(const tm& value) {
    return {value.tm_year, value.tm_mon, value.tm_mday, value.tm_hour, value.tm_min, value.tm_sec};
}

using V = std::vector<int>;

TEST(ParseIso8601Time, ReadsBothCases) {
    tm out = Marked();
    EXPECT_TRUE(utils::ParseIso8601Time("2020-01-02t03:04:05z", &out));
    EXPECT_EQ(Fields(out), (V{120, 0, 2, 3, 4, 5}));
    EXPECT_EQ(out.tm_isdst, 0);
    EXPECT_TRUE(utils::ParseIso8601Time("1999-12-31T23:59:59Z", &out));
    EXPECT_EQ(Fields(out), (V{99, 11, 31, 23, 59, 59}));
}

TEST(ParseIso8601Time, WantsNoZAndChecksNoRange) {
    tm out = Marked();
    EXPECT_TRUE(utils::ParseIso8601Time("2020-13-45T00:00:00", &out));
    EXPECT_EQ(Fields(out), (V{120, 12, 45, 0, 0, 0}));
    EXPECT_TRUE(utils::ParseIso8601Time("2020-01-02T03:04:05 and more", &out));
    EXPECT_EQ(Fields(out), (V{120, 0, 2, 3, 4, 5}));
    EXPECT_TRUE(utils::ParseIso8601Time("2020-01-02T25:61:99+01:00", &out));
    EXPECT_EQ(Fields(out), (V{120, 0, 2, 25, 61, 99}));
}

TEST(ParseIso8601Time, LeavesTheOutputAloneOnFailure) {
    for (const char* const text : {"", "2020-01-02", "2020-01-02T03:04", "2020-01-02T03:04:", "2020/01/02T03:04:05Z",
                                   "2020-01-02 03:04:05", "12020-01-02T03:04:05Z", "x"}) {
        tm out = Marked();
        EXPECT_FALSE(utils::ParseIso8601Time(text, &out)) << text;
        EXPECT_TRUE(Untouched(out)) << text;
    }
}

TEST(ParseCustomTimeString, ReadsTheFieldsInTheirOrder) {
    tm out = Marked();
    EXPECT_TRUE(utils::ParseCustomTimeString("20200102 030405", "%4d%2d%2d %2d%2d%2d", &out));
    EXPECT_EQ(Fields(out), (V{120, 0, 2, 3, 4, 5}));
    EXPECT_EQ(out.tm_isdst, 0);
}

TEST(ParseCustomTimeString, PutsTheTextIntoUpperCaseButNotTheFormat) {
    tm out = Marked();
    EXPECT_TRUE(utils::ParseCustomTimeString("at 1 2 3 4 5 6", "AT %d %d %d %d %d %d", &out));
    EXPECT_EQ(Fields(out), (V{-1899, 1, 3, 4, 5, 6}));
    tm other = Marked();
    EXPECT_FALSE(utils::ParseCustomTimeString("at 1 2 3 4 5 6", "at %d %d %d %d %d %d", &other));
    EXPECT_TRUE(Untouched(other));
}

TEST(ParseCustomTimeString, WrapsWhatDoesNotFit) {
    tm out = Marked();
    EXPECT_TRUE(utils::ParseCustomTimeString("-2147483648 -2147483648 3 4 5 6", "%d %d %d %d %d %d", &out));
    EXPECT_EQ(Fields(out), (V{2147481748, 2147483647, 3, 4, 5, 6}));
}

constexpr const char* kFormat = "%Y-%m-%d %H:%M:%S";

TEST(ParseTime, ReadsUtc) {
    const ScopedTimeZone zone("Asia/Kathmandu");
    EXPECT_EQ(utils::ParseTime("2020-01-01 00:00:00", kFormat, true), 1577836800);
    EXPECT_EQ(utils::ParseTime("1970-01-01 00:00:00", kFormat, true), 0);
    EXPECT_EQ(utils::ParseTime("1969-12-31 23:59:58", kFormat, true), -2);
    EXPECT_EQ(utils::ParseTime("2038-01-19 03:14:08", kFormat, true), 2147483648);
    EXPECT_EQ(utils::ParseTime("2020-02-29 12:00:00", kFormat, true), 1582977600);
    EXPECT_EQ(utils::ParseTime("9999-12-31 23:59:59", kFormat, true), 253402300799);
    EXPECT_EQ(utils::ParseTime("31/01/2020", "%d/%m/%Y", true), 1580428800);
}

TEST(ParseTime, ReadsPastTheCharactersOfTheFormatWithoutComparingThem) {
    EXPECT_EQ(utils::ParseTime("2020/01/01T00.00.07", kFormat, true), 1577836807);
    EXPECT_EQ(utils::ParseTime("on 2020-01-01", "at %Y-%m-%d", true), 1577836800);
    EXPECT_EQ(utils::ParseTime("20200101 000007", kFormat, true), -1);
}

TEST(ParseTime, TakesATimeOfDayThatIsMissingOrOutOfRangeAndTextBehindIt) {
    EXPECT_EQ(utils::ParseTime("2020-01-01", kFormat, true), 1577836800);
    EXPECT_EQ(utils::ParseTime("2020-01-01 00:07", kFormat, true), 1577837220);
    EXPECT_EQ(utils::ParseTime("2020-01-01 25:61:61", kFormat, true), 1577930521);
    EXPECT_EQ(utils::ParseTime("2020-01-01 00:00:07 and more", kFormat, true), 1577836807);
}

TEST(ParseTime, ReadsLocalTime) {
    struct Row {
        const char* zone;
        long seconds;
    };
    for (const Row& row : {Row{"UTC", 1577836800}, Row{"Europe/Berlin", 1577833200},
                           Row{"America/St_Johns", 1577849400}, Row{"Asia/Kathmandu", 1577816100}}) {
        const ScopedTimeZone zone(row.zone);
        EXPECT_EQ(utils::ParseTime("2020-01-01 00:00:00", kFormat, false), row.seconds) << row.zone;
    }
}

TEST(ParseTime, LetsTheCLibraryFindDaylightSaving) {
    const ScopedTimeZone zone("Europe/Berlin");
    EXPECT_EQ(utils::ParseTime("2021-03-28 01:59:59", kFormat, false), 1616893199);
    EXPECT_EQ(utils::ParseTime("2021-03-28 03:00:00", kFormat, false), 1616893200);
    EXPECT_EQ(utils::ParseTime("2021-07-01 12:00:00", kFormat, false), 1625133600);
    // 02:30 did not happen on this day; either neighbour is an answer.
    EXPECT_THAT(utils::ParseTime("2021-03-28 02:30:00", kFormat, false), testing::AnyOf(1616891400, 1616895000));
}

TEST(ParseTime, ReadsNumbersTheSameInAnyLocaleOfTheHost) {
    const HostLocale host;
    EXPECT_EQ(utils::ParseTime("2020-01-02 03:04:05", "%Y-%m-%d %H:%M:%S", true), 1577934245);
    EXPECT_EQ(utils::ParseTime("20200102T030405", "%Y%m%dT%H%M%S", true), 1577934245);
    EXPECT_EQ(utils::ParseTime("2020-01-02 03:04:05.678", "%Y-%m-%d %H:%M:%s", true), 1577934245);
}

TEST(ParseTime, GivesMinusOneForATextThatDoesNotMatch) {
    for (const bool utc : {true, false}) {
        EXPECT_EQ(utils::ParseTime("yesterday", kFormat, utc), -1);
        EXPECT_EQ(utils::ParseTime("", kFormat, utc), -1);
        EXPECT_EQ(utils::ParseTime("not-a-date-time", kFormat, utc), -1);
    }
}

TEST(ParseTime, SwallowsEveryException) {
    for (const bool utc : {true, false}) {
        EXPECT_EQ(utils::ParseTime("2020-13-01 00:00:00", kFormat, utc), -1);
        EXPECT_EQ(utils::ParseTime("2021-02-29 00:00:00", kFormat, utc), -1);
        EXPECT_EQ(utils::ParseTime("2020-01-32 00:00:00", kFormat, utc), -1);
        EXPECT_EQ(utils::ParseTime("0001-01-01 00:00:00", kFormat, utc), -1);
    }
    // An endless time has no breakdown.
    EXPECT_EQ(utils::ParseTime("+infinity", kFormat, false), -1);
}

optional<long long> Period(const std::string& text) {
    bool failed = true;
    const long long period = utils::ParseTimePeriod(text, &failed);
    const boost::optional<long long> other = utils::ParseTimePeriod(text);
    EXPECT_EQ(other.has_value(), !failed) << text;
    EXPECT_EQ(other.value_or(0), period) << text;
    return failed ? none : optional<long long>(period);
}

TEST(ParseTimePeriod, MultipliesByTheUnit) {
    EXPECT_EQ(Period("15s"), 15000);
    EXPECT_EQ(Period("15m"), 900000);
    EXPECT_EQ(Period("15h"), 54000000);
    EXPECT_EQ(Period("15d"), 1296000000);
    EXPECT_EQ(Period("0d"), 0);
}

TEST(ParseTimePeriod, TakesSpacesASignAndBothCases) {
    EXPECT_EQ(Period(" 15 M "), 900000);
    EXPECT_EQ(Period("+15m"), 900000);
    EXPECT_EQ(Period("-2h"), -7200000);
    EXPECT_EQ(Period("\t1\nD\r\n"), 86400000);
}

TEST(ParseTimePeriod, RefusesWhatIsNoNumberWithAUnit) {
    for (const char* const text : {"", " ", "15", "m", " m", "+m", "1.5m", "1 5m", "x5m", "5 m5", "0x5m", "15\xB5m"}) {
        EXPECT_EQ(Period(text), none) << text;
    }
}

TEST(ParseTimePeriod, RefusesOtherUnits) {
    for (const char* const text : {"15ms", "15sec", "15min", "15 m s", "15w", "15y", "15m.", "15s\xB5"}) {
        EXPECT_EQ(Period(text), none) << text;
    }
}

TEST(ParseTimePeriod, IsExactAtTheLargestNumberOfEachUnit) {
    EXPECT_EQ(Period("9223372036854775s"), 9223372036854775000);
    EXPECT_EQ(Period("9223372036854776s"), none);
    EXPECT_EQ(Period("153722867280912m"), 9223372036854720000);
    EXPECT_EQ(Period("153722867280913m"), none);
    EXPECT_EQ(Period("2562047788015h"), 9223372036854000000);
    EXPECT_EQ(Period("2562047788016h"), none);
    EXPECT_EQ(Period("106751991167d"), 9223372036828800000);
    EXPECT_EQ(Period("106751991168d"), none);
    EXPECT_EQ(Period("9223372036854775808s"), none);
}

TEST(ParseTimePeriod, HasNoLowerBound) {
    EXPECT_EQ(Period("-106751991167d"), -9223372036828800000);
    // Beyond the last number the product wraps round; the smallest number is even, so that nothing of it remains.
    EXPECT_EQ(Period("-9223372036854775808s"), 0);
    EXPECT_EQ(Period("-9223372036854775807s"), 1000);
    EXPECT_EQ(Period("-9223372036854775809s"), none);
}

TEST(ParseTimePeriod, SaysFailureAlsoWhereTheFlagWasClear) {
    bool failed = false;
    EXPECT_EQ(utils::ParseTimePeriod("106751991168d", &failed), 0);
    EXPECT_TRUE(failed);
}

/// A locale for which the bytes above 127 and the '#' are letters, and the 'd' is none.
class OddLetters : public std::ctype<char> {
public:
    OddLetters() : std::ctype<char>(Table()) {}

private:
    static const mask* Table() {
        static mask table[table_size];
        std::copy(classic_table(), classic_table() + table_size, table);
        for (std::size_t byte = 128; byte < table_size; ++byte) {
            table[byte] = alpha;
        }
        table[static_cast<unsigned char>('#')] = alpha;
        table[static_cast<unsigned char>('d')] = lower;
        return table;
    }
};

TEST(ParseTimePeriod, TakesLettersFromTheGlobalLocaleButNoneAbove127) {
    const std::locale former = std::locale::global(std::locale(std::locale(), new OddLetters));
    // A byte above 127 belongs to the number and spoils it; a '#' starts the unit and spoils that.
    const optional<long long> high = Period("15\xB5m");
    const optional<long long> odd = Period("15#");
    const optional<long long> noLetter = Period("15d");
    const optional<long long> good = Period("15m");
    std::locale::global(former);
    EXPECT_EQ(high, none);
    EXPECT_EQ(odd, none);
    EXPECT_EQ(noLetter, none);
    EXPECT_EQ(good, 900000);
}

}  // namespace
