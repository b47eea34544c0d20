#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// A bar on stderr where that is a terminal, and nothing otherwise. It tells the time left, once that is a second or
/// more. The line is wiped when the bar goes.
class ProgressBar {
public:
    /// `wanted` is false where other lines go to stderr meanwhile.
    ProgressBar(std::string label, std::uintmax_t total, bool wanted = true);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Advance(std::uintmax_t amount);

private:
    void Draw(int percent);
    std::string TimeLeft() const;

    std::string m_Label;
    std::uintmax_t m_Total;
    std::uintmax_t m_Done = 0;
    std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
    int m_DrawnPercent = -1;
    bool m_Visible;
};
