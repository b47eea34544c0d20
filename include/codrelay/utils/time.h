#pragma once

/// @file
/// Functions on times.

#include <boost/optional/optional.hpp>
#include <ctime>
#include <string>

#include "codrelay/export.h"

/// Conversions between seconds since 1970-01-01T00:00:00Z (`long`, as time_t), broken-down times (`tm`) and text.
///
/// All functions may be called from several threads at once, on different outputs. "Local" is the process's time zone
/// as the C library knows it; after a change of the environment variable TZ the host calls tzset. Nothing is logged.
/// TmToStr and what is built on it throw; all others tell failure by the result. REQUIRES: no pointer is null.
namespace utils {

/// Breaks `t` (seconds) down in local time. False if the year does not fit; then `*out` has no meaning.
/// Example: `tm v; assert(LocalTime(0, &v) && TmToTimeT(&v, false) == 0);`
CODRELAY_API bool LocalTime(long t, tm* out);

/// Breaks `t` (seconds) down in UTC. False if the year does not fit; then `*out` has no meaning.
/// Example: `tm v; assert(GmTime(0, &v) && v.tm_year == 70);`
CODRELAY_API bool GmTime(long t, tm* out);

/// The offset of local time from UTC in seconds, positive to the east, with daylight saving as it stands now. Cannot
/// fail.
/// Example: `assert(TimeZoneShift() % 60 == 0);`
CODRELAY_API long TimeZoneShift();

/// Returns the seconds of `*value`, taken as UTC if `utc` and as local time otherwise, where a negative `tm_isdst`
/// leaves daylight saving to the C library. Fields out of range are brought into it. -1 if the time does not fit.
/// Example: `tm v; GmTime(1577836800, &v); assert(TmToTimeT(&v, true) == 1577836800);`
CODRELAY_API long TmToTimeT(tm* value, bool utc);

/// Formats `value` by the rules of strftime. Throws std::runtime_error ("TmToStr(): formatted result exceeds max buffer
/// size: " and `maxSize`) if the text needs a buffer of about `maxSize` bytes or more, and also if it is empty: the C
/// library does not tell the two apart. Buffers double from twice the length of `format`, 64 bytes at least; the first
/// one of 64 bytes is tried whatever `maxSize` is.
/// Example: `tm v; GmTime(0, &v); assert(TmToStr(v, "%d.%m.%y", 100) == "01.01.70");`
CODRELAY_API std::string TmToStr(const tm& value, const char* format, unsigned long maxSize);

/// Formats `value` as "2020/01/31 23:59:58". Throws as above, which no valid `value` makes it do.
/// Example: `tm v; GmTime(0, &v); assert(TmToStr(v) == "1970/01/01 00:00:00");`
CODRELAY_API std::string TmToStr(const tm& value);

/// Formats `t` (seconds) in local time by the rules of strftime. Throws as TmToStr, with a `maxSize` of 65535. A time
/// whose year does not fit gives a text without meaning.
/// Example: `assert(TimeToStr(86400 * 180, "%Y") == "1970");`
CODRELAY_API std::string TimeToStr(const long& t, const char* format);

/// The same in UTC.
/// Example: `assert(TimeToStrUtc(0, "%H:%M") == "00:00");`
CODRELAY_API std::string TimeToStrUtc(const long& t, const char* format);

/// Formats `t` (seconds) as "2020-01-31T23:59:58Z" if `extended`, else as "20200131T235958Z". The time is local in
/// spite of the `Z`, which hosts rely on. A time whose year does not fit gives a text without meaning.
/// Example: `assert(TimeToStr8601(0, true).size() == 20);`
CODRELAY_API std::string TimeToStr8601(const long& t, bool extended);

/// The same in UTC.
/// Example: `assert(TimeToStr8601Utc(1577836800, true) == "2020-01-01T00:00:00Z");`
CODRELAY_API std::string TimeToStr8601Utc(const long& t, bool extended);

/// Formats `ms` (milliseconds since 1970-01-01T00:00:00Z) in UTC as "2020-01-31T23:59:58.007Z" if `extended`, else as
/// "20200131T235958007Z", without a point. A negative `ms` counts back from its whole second, which is rounded toward
/// zero: -5 gives "1970-01-01T00:00:00.-05Z".
/// Example: `assert(TimeMsToStr8601Utc(1577836800123, false) == "20200101T000000123Z");`
CODRELAY_API std::string TimeMsToStr8601Utc(long long ms, bool extended);

/// Reads a time of day: hours (below 24), minutes and seconds (below 60), parted by any character of `delims`. Later
/// parts may be missing and count 0, so "12" is noon; parts behind the third are ignored. Each part is read as by the
/// lenient StringToInt. True if all is well; then `*seconds` gets the seconds since midnight, else it is left alone.
/// Example: `int s; assert(ParseTimeString("01.02.03", ".", &s) && s == 3723);`
CODRELAY_API bool ParseTimeString(const std::string& text, const std::string& delims, int* seconds);

/// The same with ":".
/// Example: `int s; assert(ParseTimeString("12:30", &s) && s == 45000);`
CODRELAY_API bool ParseTimeString(const std::string& text, int* seconds);

/// Reads an offset from UTC: a sign, then hours with minutes and seconds as by ParseTimeString. What stands before the
/// sign is ignored; a `+` anywhere is taken before a `-`. True if all is well; then `*seconds` gets the offset in
/// seconds, positive to the east, else it is left alone.
/// Example: `int s; assert(ParseTimezoneString("UTC-05:30", &s) && s == -19800);`
CODRELAY_API bool ParseTimezoneString(const std::string& text, int* seconds);

/// Reads "2020-01-31T23:59:58Z" in either case. The `Z` may be missing and text may follow. True if all six numbers
/// were found; else `*out` is left alone. No number is checked for its range; `*out` is as for ParseCustomTimeString.
/// Example: `tm v; assert(ParseIso8601Time("2020-01-02t03:04:05z", &v) && v.tm_mday == 2);`
CODRELAY_API bool ParseIso8601Time(const std::string& text, tm* out);

/// Reads year, month, day, hour, minute and second, in this order, by the rules of sscanf. `text` is put into upper
/// case first, so letters in `format` must be. True if all six were found; then `*out` gets them, unchecked, as the
/// fields of a tm (years from 1900, months from 0) with `tm_isdst` 0 and no meaning in the rest; else it is left alone.
/// REQUIRES: `format` holds exactly six conversions to int.
/// Example: `tm v; assert(ParseCustomTimeString("1/2/3 4:5:6", "%d/%d/%d %d:%d:%d", &v) && v.tm_mon == 1);`
CODRELAY_API bool ParseCustomTimeString(const std::string& text, const char* format, tm* out);

/// Reads a point in time by a format of Boost.DateTime's time_input_facet, and returns its seconds, taken as UTC if
/// `utc` and as local time otherwise. Characters of `format` that belong to no conversion are counted, not compared:
/// any other may stand in `text` in their place. The time of day may be missing or out of its range, which carries
/// over, and text may follow. Returns -1 if what the conversions ask for is not there or names no real date; throws
/// nothing. "+infinity" and "-infinity" give numbers of no meaning as UTC, and -1 as local time.
/// Example: `assert(ParseTime("2020-01-01 00:00:00", "%Y-%m-%d %H:%M:%S", true) == 1577836800);`
CODRELAY_API long ParseTime(const std::string& text, const std::string& format, bool utc);

/// Reads a duration: a whole number and one of the units "s", "m", "h" and "d", in either case, with white space
/// allowed round both. Returns it in milliseconds and sets `*failed` to false; on failure, or if the product is too
/// large, returns 0 and sets it to true. Negative numbers have no lower bound: a product too small wraps round.
/// Example: `bool failed; assert(ParseTimePeriod(" 15 M ", &failed) == 900000 && !failed);`
CODRELAY_API long long ParseTimePeriod(const std::string& text, bool* failed);

/// The same with an unset result on failure.
/// Example: `assert(ParseTimePeriod("-2h") == -7200000LL && !ParseTimePeriod("15"));`
CODRELAY_API boost::optional<long long> ParseTimePeriod(const std::string& text);

}  // namespace utils
