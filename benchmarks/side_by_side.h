#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

/// Measures two ways to do the same work. They take turns, now the one first and now the other, on the clock of the
/// thread, so that what else the machine does strikes both alike. The medians of the rounds are told, and their ratio.
class SideBySide {
public:
    explicit SideBySide(benchmark::State& state) : m_State(state) {}

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

    /// Times go to the counters in a unit of which a second has `unitsPerSecond`, per piece of work.
    void Tell(const std::string& unit, double unitsPerSecond, double piecesPerRound = 1) {
        const double plain = Median(m_Plain);
        const double library = Median(m_Library);
        m_State.counters["plain_" + unit] = plain * unitsPerSecond / piecesPerRound;
        m_State.counters["library_" + unit] = library * unitsPerSecond / piecesPerRound;
        m_State.counters["ratio"] = library / plain;
    }

private:
    static double ThreadSeconds() {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
    }

    template <typename Work>
    static double SecondsFor(Work work) {
        const double start = ThreadSeconds();
        work();
        return ThreadSeconds() - start;
    }

    static double Median(std::vector<double> values) {
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        return *middle;
    }

    benchmark::State& m_State;
    bool m_bPlainFirst = false;
    double m_nPlain = 0;
    double m_nLibrary = 0;
    std::vector<double> m_Plain;
    std::vector<double> m_Library;
};
