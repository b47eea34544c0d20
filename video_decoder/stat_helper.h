#pragma once

#include <limits>

/// What a codec object remembers of the calls of the running period, in milliseconds.
struct CodecStat {
    static constexpr long long kNoMax = std::numeric_limits<long long>::min();

    long long m_nTotalMs = 0;
    long long m_nMaxMs = kNoMax;
    /// A call that takes longer than this is a slow one. Stays as it is for the object's life.
    long long m_nTriggerMs = 30;
    long long m_nTriggered = 0;
    long long m_nCount = 0;
};

/// Measures the scope in which it lives and adds it to the account of a codec object, if `m_bCount` was set by then.
/// The first scope that ends 20 seconds or more after the last period prints the account and starts it afresh, whether
/// it counted or not. Belongs to one thread, as the object does.
///
///     StatHelper stat("CVideoDecoder", &m_nLastStatMs, &m_Stat);
///     ...
///     stat.m_bCount = true;
class StatHelper {
public:
    /// `owner` is the first word of the line. Nothing is copied: all three must outlive the helper.
    StatHelper(const char* owner, long long* lastStatMs, CodecStat* stat);
    /// May throw what writing a line may throw, unless an exception is on its way already.
    ~StatHelper() noexcept(false);
    StatHelper(const StatHelper&) = delete;
    StatHelper& operator=(const StatHelper&) = delete;

private:
    void Count(long long durationMs);
    void Report(const CodecStat& period, long long elapsedMs) const;

    long long m_nStartMs;
    long long* m_pLastStatMs;
    CodecStat* m_pStat;

public:
    /// Set as soon as the call has produced something.
    bool m_bCount = false;

private:
    const char* m_szOwner;
};
