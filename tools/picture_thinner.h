#pragma once

#include <optional>

/// Says which pictures to keep so that no more than so many a second remain.
class PictureThinner {
public:
    /// 0 keeps all.
    explicit PictureThinner(unsigned int rate) : m_Rate(rate) {}

    bool Keep(long long time);

private:
    unsigned int m_Rate;
    std::optional<long long> m_Start;
    long long m_LastSlot = -1;
};
