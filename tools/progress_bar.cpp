#include "progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <utility>

namespace {

constexpr int kBarLength = 40;

}  // namespace

ProgressBar::ProgressBar(std::string label, std::uintmax_t total, bool wanted)
    : m_Label(std::move(label)),
      m_Total(std::max<std::uintmax_t>(total, 1)),
      m_Visible(wanted && isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    if (m_DrawnPercent >= 0) {
        std::cerr << "\r\033[K" << std::flush;
    }
}

void ProgressBar::Advance(std::uintmax_t amount) {
    m_Done = std::min(m_Done + amount, m_Total);
    const int percent = static_cast<int>(m_Done * 100 / m_Total);
    if (m_Visible && percent != m_DrawnPercent) {
        Draw(percent);
    }
}

void ProgressBar::Draw(int percent) {
    m_DrawnPercent = percent;
    const auto filled = static_cast<std::size_t>(percent * kBarLength / 100);
    std::cerr << "\033[2K\r" << m_Label << " [" << std::string(filled, '#') << std::string(kBarLength - filled, '.')
              << "] " << percent << "%" << TimeLeft() << std::flush;
}

std::string ProgressBar::TimeLeft() const {
    if (m_Done == 0) {
        return "";
    }
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - m_Start;
    const double left = passed.count() * static_cast<double>(m_Total - m_Done) / static_cast<double>(m_Done);
    if (left < 1) {
        return "";
    }
    const auto seconds = static_cast<long long>(left);
    const std::string ofMinute = std::to_string(seconds % 60);
    return ", " + std::to_string(seconds / 60) + (ofMinute.size() < 2 ? ":0" : ":") + ofMinute + " left";
}
