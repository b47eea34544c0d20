#pragma once

#include <iostream>
#include <random>
#include <string>

/// Short texts over few characters, so that matches, runs and overlaps are frequent. The same texts in every run; the
/// seed is printed.
class RandomText {
public:
    RandomText() { std::cout << "seed " << kSeed << "\n"; }

    unsigned long Below(unsigned long limit) { return m_Random() % limit; }

    std::string Make(const std::string& characters, unsigned long longest) {
        std::string text(Below(longest + 1), '\0');
        for (char& c : text) {
            c = characters[Below(characters.size())];
        }
        return text;
    }

private:
    static constexpr unsigned kSeed = 19700101;
    std::mt19937 m_Random{kSeed};
};
