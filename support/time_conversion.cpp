#include "codrelay/utils/time.h"

namespace utils {

bool LocalTime(long t, tm* out) {
    return localtime_r(&t, out) == out;
}

bool GmTime(long t, tm* out) {
    return gmtime_r(&t, out) == out;
}

long TimeZoneShift() {
    const long now = std::time(nullptr);
    tm local{};
    LocalTime(now, &local);
    return timegm(&local) - now;
}

long TmToTimeT(tm* value, bool utc) {
    return utc ? timegm(value) : std::mktime(value);
}

}  // namespace utils
