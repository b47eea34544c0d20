#include <gmock/gmock.h>

#include <limits>

#include "codrelay/utils/time.h"
#include "time_zone.h"

namespace {

long scriptedTime = -1;

}  // namespace

extern "C" time_t __real_time(time_t* out);

/// The clock stands at `scriptedTime` where a test set it.
extern "C" time_t __wrap_time(time_t* out) {
    if (scriptedTime == -1) {
        return __real_time(out);
    }
    return scriptedTime;
}

namespace {

using testing::AllOf;
using testing::Field;

constexpr long kEdges[] = {0,           -1,          1,          2147483647, 2147483648,
                           -2147483648, -2147483649, 1582934400, 1582977599, 253402300799};

auto IsDate(int year, int month, int day) {
    return AllOf(Field(&tm::tm_year, year - 1900), Field(&tm::tm_mon, month - 1), Field(&tm::tm_mday, day));
}

auto IsClock(int hour, int minute, int second) {
    return AllOf(Field(&tm::tm_hour, hour), Field(&tm::tm_min, minute), Field(&tm::tm_sec, second));
}

tm Utc(long t) {
    tm out{};
    EXPECT_TRUE(utils::GmTime(t, &out)) << t;
    return out;
}

tm Local(long t) {
    tm out{};
    EXPECT_TRUE(utils::LocalTime(t, &out)) << t;
    return out;
}

TEST(GmTime, BreaksTheEdgesDown) {
    EXPECT_THAT(Utc(0), AllOf(IsDate(1970, 1, 1), IsClock(0, 0, 0)));
    EXPECT_THAT(Utc(-1), AllOf(IsDate(1969, 12, 31), IsClock(23, 59, 59)));
    EXPECT_THAT(Utc(2147483648), AllOf(IsDate(2038, 1, 19), IsClock(3, 14, 8)));
    EXPECT_THAT(Utc(1582934400), AllOf(IsDate(2020, 2, 29), IsClock(0, 0, 0)));
    EXPECT_THAT(Utc(951782400), AllOf(IsDate(2000, 2, 29), IsClock(0, 0, 0)));
    EXPECT_THAT(Utc(4107542399), AllOf(IsDate(2100, 2, 28), IsClock(23, 59, 59)));
    EXPECT_THAT(Utc(4107542400), AllOf(IsDate(2100, 3, 1), IsClock(0, 0, 0)));
    EXPECT_THAT(Utc(253402300799), AllOf(IsDate(9999, 12, 31), IsClock(23, 59, 59)));
}

TEST(GmTime, RefusesAYearThatDoesNotFit) {
    for (const long t : {std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        tm out{};
        EXPECT_FALSE(utils::GmTime(t, &out));
        EXPECT_FALSE(utils::LocalTime(t, &out));
    }
}

TEST(LocalTime, FollowsTheTimeZone) {
    struct Row {
        const char* zone;
        int day, hour, minute;
    };
    // 2020-07-01T12:00:00Z.
    for (const Row& row : {Row{"UTC", 1, 12, 0}, Row{"Europe/Berlin", 1, 14, 0}, Row{"America/St_Johns", 1, 9, 30},
                           Row{"Asia/Kathmandu", 1, 17, 45}, Row{"Pacific/Kiritimati", 2, 2, 0}}) {
        const ScopedTimeZone zone(row.zone);
        EXPECT_THAT(Local(1593604800), AllOf(IsDate(2020, 7, row.day), IsClock(row.hour, row.minute, 0))) << row.zone;
    }
}

TEST(LocalTime, JumpsWithDaylightSaving) {
    const ScopedTimeZone zone("Europe/Berlin");
    // 2021-03-28, when 02:00 became 03:00, and 2021-10-31, when 03:00 became 02:00.
    EXPECT_THAT(Local(1616893199), AllOf(IsDate(2021, 3, 28), IsClock(1, 59, 59), Field(&tm::tm_isdst, 0)));
    EXPECT_THAT(Local(1616893200), AllOf(IsDate(2021, 3, 28), IsClock(3, 0, 0), Field(&tm::tm_isdst, 1)));
    EXPECT_THAT(Local(1635641999), AllOf(IsDate(2021, 10, 31), IsClock(2, 59, 59), Field(&tm::tm_isdst, 1)));
    EXPECT_THAT(Local(1635642000), AllOf(IsDate(2021, 10, 31), IsClock(2, 0, 0), Field(&tm::tm_isdst, 0)));
}

TEST(TmToTimeT, TakesBackWhatTheBreakdownsGive) {
    for (const char* const name : kZones) {
        const ScopedTimeZone zone(name);
        for (const long t : kEdges) {
            tm utc = Utc(t);
            EXPECT_EQ(utils::TmToTimeT(&utc, true), t) << name;
            tm local = Local(t);
            EXPECT_EQ(utils::TmToTimeT(&local, false), t) << name;
        }
    }
}

TEST(TmToTimeT, ReadsTheSameFieldsAsUtcOrAsLocalTime) {
    const ScopedTimeZone zone("Asia/Kathmandu");
    tm fields{};
    fields.tm_year = 120;
    fields.tm_mday = 1;
    tm same = fields;
    EXPECT_EQ(utils::TmToTimeT(&fields, true), 1577836800);
    EXPECT_EQ(utils::TmToTimeT(&same, false), 1577836800 - 20700);
}

TEST(TmToTimeT, BringsFieldsIntoTheirRange) {
    const ScopedTimeZone zone("UTC");
    for (const bool utc : {true, false}) {
        tm fields{};
        fields.tm_year = 119;
        fields.tm_mon = 13;
        fields.tm_mday = 30;
        fields.tm_sec = -1;
        // The 30th of February 2020, less a second.
        EXPECT_EQ(utils::TmToTimeT(&fields, utc), 1583020799);
        EXPECT_THAT(fields, AllOf(IsDate(2020, 2, 29), IsClock(23, 59, 59)));
    }
}

TEST(TmToTimeT, MovesATimeThatTheClockSkipped) {
    const ScopedTimeZone zone("Europe/Berlin");
    tm fields{};
    fields.tm_year = 121;
    fields.tm_mon = 2;
    fields.tm_mday = 28;
    fields.tm_hour = 2;
    fields.tm_min = 30;
    fields.tm_isdst = 0;
    EXPECT_EQ(utils::TmToTimeT(&fields, false), 1616895000);
    EXPECT_THAT(fields, AllOf(IsClock(3, 30, 0), Field(&tm::tm_isdst, 1)));
}

long ShiftAt(long now) {
    scriptedTime = now;
    const long shift = utils::TimeZoneShift();
    scriptedTime = -1;
    return shift;
}

TEST(TimeZoneShift, IsPositiveToTheEastWithDaylightSavingAsItStands) {
    struct Row {
        const char* zone;
        long winter, summer;
    };
    for (const Row& row : {Row{"UTC", 0, 0}, Row{"Europe/Berlin", 3600, 7200}, Row{"America/St_Johns", -12600, -9000},
                           Row{"Asia/Kathmandu", 20700, 20700}}) {
        const ScopedTimeZone zone(row.zone);
        EXPECT_EQ(ShiftAt(1577836800), row.winter) << row.zone;
        EXPECT_EQ(ShiftAt(1593604800), row.summer) << row.zone;
    }
}

TEST(TimeZoneShift, ChangesAtTheJump) {
    const ScopedTimeZone zone("Europe/Berlin");
    EXPECT_EQ(ShiftAt(1616893199), 3600);
    EXPECT_EQ(ShiftAt(1616893200), 7200);
    EXPECT_EQ(ShiftAt(1635641999), 7200);
    EXPECT_EQ(ShiftAt(1635642000), 3600);
}

}  // namespace
