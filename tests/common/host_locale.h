#pragma once

#include <locale>
#include <string>

/// The global locale of a host that writes numbers in a way of its own, while one of these lives. It needs no locale of
/// the system, and groups every digit, so that no number of two digits is safe from it.
class HostLocale {
public:
    HostLocale() : m_Former(std::locale::global(std::locale(std::locale::classic(), new Numbers))) {}
    ~HostLocale() { std::locale::global(m_Former); }
    HostLocale(const HostLocale&) = delete;
    HostLocale& operator=(const HostLocale&) = delete;

private:
    class Numbers : public std::numpunct<char> {
    protected:
        char do_decimal_point() const override { return ';'; }
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\1"; }
        std::string do_truename() const override { return "yes"; }
    };

    std::locale m_Former;
};
