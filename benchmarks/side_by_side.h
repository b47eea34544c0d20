#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <string>
#include <vector>

/// Measures two ways to do the same work. They take turns, now the one first and now the other, on the clock of the
/// thread, so that what else the machine does strikes both alike. The medians of the rounds are told, their ratio, and
/// how far the plain way may lie from itself.
class SideBySide {
public:
    /// Rounds enough for a steady median, for cases whose rounds are long.
    static constexpr int kRounds = 21;

    /// Work of several threads wants CLOCK_MONOTONIC.
    explicit SideBySide(benchmark::State& state, clockid_t clock = CLOCK_THREAD_CPUTIME_ID)
        : m_State(state), m_Clock(clock) {}

    /// Runs both ways once; a round may be made of several turns.
    template <typename Plain, typename Library>
    void Turn(Plain plain, Library library) {
        m_bPlainFirst = !m_bPlainFirst;
        m_nPlain += m_bPlainFirst ? SecondsFor(plain) : 0;
        m_nLibrary += SecondsFor(library);
        m_nPlain += m_bPlainFirst ? 0 : SecondsFor(plain);
    }

    void EndRound() {
        m_State.SetIterationTime(m_nLibrary);
        m_Plain.push_back(m_nPlain);
        m_Library.push_back(m_nLibrary);
        m_nPlain = 0;
        m_nLibrary = 0;
    }

    /// Times go to the counters in a unit of which a second has `unitsPerSecond`, per piece of work. `bound` is what
    /// the ratio is to stay at or below, 0 for none.
    void Tell(const std::string& unit, double unitsPerSecond, double piecesPerRound = 1, double bound = 0) {
        const double plain = Quantile(m_Plain, 0.5);
        const double library = Quantile(m_Library, 0.5);
        m_State.counters["plain_" + unit] = plain * unitsPerSecond / piecesPerRound;
        m_State.counters["library_" + unit] = library * unitsPerSecond / piecesPerRound;
        m_State.counters["ratio"] = library / plain;
        m_State.counters["spread"] = SpreadOfMedian(m_Plain);
        if (bound > 0) {
            m_State.counters["bound"] = bound;
        }
    }

private:
    double Now() const {
        timespec now{};
        clock_gettime(m_Clock, &now);
        return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
    }

    template <typename Work>
    double SecondsFor(Work work) const {
        const double start = Now();
        work();
        return Now() - start;
    }

    static double Quantile(std::vector<double> values, double part) {
        const auto at = values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size()));
        std::nth_element(values.begin(), at, values.end());
        return *at;
    }

    /// If these rounds were run twice, the ratio of the two medians would lie this close to 1 in nineteen cases of
    /// twenty. (The median of n normal values strays by 1.253 standard deviations over the root of n, and a standard
    /// deviation is the distance of the quartiles over 1.349; two medians stray root two times as far as one.)
    static double SpreadOfMedian(const std::vector<double>& rounds) {
        const double quartiles = Quantile(rounds, 0.75) - Quantile(rounds, 0.25);
        const double deviation = 1.253 * quartiles / 1.349 / std::sqrt(static_cast<double>(rounds.size()));
        return 1.96 * std::sqrt(2.0) * deviation / Quantile(rounds, 0.5);
    }

    benchmark::State& m_State;
    clockid_t m_Clock;
    bool m_bPlainFirst = false;
    double m_nPlain = 0;
    double m_nLibrary = 0;
    std::vector<double> m_Plain;
    std::vector<double> m_Library;
};
