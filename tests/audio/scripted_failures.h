#pragma once

#include <string>

/// While it lives, the function of that name fails wherever it is scripted at link time.
class Failing {
public:
    explicit Failing(std::string function) { Current() = std::move(function); }
    ~Failing() { Current().clear(); }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;

    static bool Is(const char* function) { return Current() == function; }

private:
    static std::string& Current() {
        static std::string name;
        return name;
    }
};
