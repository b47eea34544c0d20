#include "video_decoder/stat_helper.h"

#include <algorithm>
#include <exception>
#include <new>

#include "codrelay/utils/clock.h"
#include "support/log_front.h"

namespace {
constexpr long long kPeriodMs = 20000;
}  // namespace

StatHelper::StatHelper(const char* owner, long long* lastStatMs, CodecStat* stat)
    : m_nStartMs(utils::GetMonotonicTimeInMs()), m_pLastStatMs(lastStatMs), m_pStat(stat), m_szOwner(owner) {}

StatHelper::~StatHelper() noexcept(false) {
    const long long now = utils::GetMonotonicTimeInMs();
    if (m_bCount) {
        Count(now - m_nStartMs);
    }
    const long long elapsedMs = now - *m_pLastStatMs;
    if (elapsedMs < kPeriodMs) {
        return;
    }
    *m_pLastStatMs = now;
    const CodecStat period = *m_pStat;
    *m_pStat = CodecStat{};
    m_pStat->m_nTriggerMs = period.m_nTriggerMs;
    try {
        Report(period, elapsedMs);
    } catch (const std::bad_alloc&) {
        // A second exception would end the process; the first says as much.
        if (std::uncaught_exceptions() == 0) {
            throw;  // cppcheck-suppress exceptThrowInDestructor
        }
    }
}

void StatHelper::Count(long long durationMs) {
    m_pStat->m_nTotalMs += durationMs;
    m_pStat->m_nMaxMs = std::max(m_pStat->m_nMaxMs, durationMs);
    m_pStat->m_nTriggered += durationMs > m_pStat->m_nTriggerMs ? 1 : 0;
    ++m_pStat->m_nCount;
}

void StatHelper::Report(const CodecStat& period, long long elapsedMs) const {
    const auto count = static_cast<double>(period.m_nCount);
    const double average = period.m_nCount == 0 ? 0 : static_cast<double>(period.m_nTotalMs) / count;
    FFMPEG_LOG(Info) << m_szOwner
                     << "::StatHelper: fps: " << static_cast<long long>(count * 1000.0 / static_cast<double>(elapsedMs))
                     << ", t: av: " << average << ", max: " << period.m_nMaxMs << ", trig: " << period.m_nTriggered
                     << " in " << period.m_nCount;
}
