#include "picture_thinner.h"

namespace {

/// Times are cut to whole milliseconds: a picture just before its slot belongs into it.
constexpr long long kRoundingMs = 2;

}  // namespace

bool PictureThinner::Keep(long long time) {
    if (m_Rate == 0) {
        return true;
    }
    m_Start = m_Start.value_or(time);
    const long long slot = (time - *m_Start + kRoundingMs) * m_Rate / 1000;
    if (slot <= m_LastSlot) {
        return false;
    }
    m_LastSlot = slot;
    return true;
}
