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
    std::cerr << "\r" << m_Label << " [" << std::string(filled, '#') << std::string(kBarLength - filled, '.') << "] "
              << percent << "%" << std::flush;
}
