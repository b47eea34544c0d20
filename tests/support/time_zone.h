#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

/// Puts the process into a time zone while it lives.
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const char* name) {
        if (const char* former = std::getenv("TZ")) {
            m_Former = former;
        }
        setenv("TZ", name, 1);
        tzset();
    }
    ~ScopedTimeZone() {
        m_Former ? setenv("TZ", m_Former->c_str(), 1) : unsetenv("TZ");
        tzset();
    }
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    std::optional<std::string> m_Former;
};

/// UTC, whole, half and quarter hours, both sides of Greenwich, with and without daylight saving.
inline constexpr const char* kZones[] = {"UTC", "Europe/Berlin", "America/St_Johns", "Asia/Kathmandu", "Pacific/Apia"};
