// The text and time utilities, where there is one beside another way to the same result.

#include <benchmark/benchmark.h>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <charconv>
#include <random>
#include <string_view>

#include "benchmarks/side_by_side.h"
#include "codrelay/utils/strings.h"
#include "codrelay/utils/time.h"

namespace {

constexpr std::size_t kNumbers = 1024;

/// Numbers of one to ten digits, as many of each length, a third of them negative.
std::vector<std::string> Numbers() {
    std::mt19937 random(1);
    std::vector<std::string> numbers;
    for (std::size_t i = 0; i < kNumbers; ++i) {
        int limit = 1;
        for (unsigned long digits = random() % 9; digits > 0; --digits) {
            limit *= 10;
        }
        const int number = static_cast<int>(random() % 0x7FFFFFFF) % limit;
        numbers.push_back(std::to_string(random() % 3 == 0 ? -number : number));
    }
    return numbers;
}

/// Short work is done several times in a turn, so that the clock's own cost does not count.
template <typename Other, typename Library>
void Compare(benchmark::State& state, int timesATurn, double bound, Other other, Library library) {
    const auto repeated = [timesATurn](const auto& work) {
        for (int i = 0; i < timesATurn; ++i) {
            work();
        }
    };
    SideBySide sides(state);
    for (auto _ : state) {
        sides.Turn([&] { repeated(other); }, [&] { repeated(library); });
        sides.EndRound();
    }
    sides.Tell("us", 1e6, timesATurn, bound);
}

void StringToInt_BesideFromChars(benchmark::State& state) {
    const std::vector<std::string> numbers = Numbers();
    Compare(
        state, 10, 1.5,
        [&] {
            for (const std::string& number : numbers) {
                int value = 0;
                benchmark::DoNotOptimize(std::from_chars(number.data(), number.data() + number.size(), value));
                benchmark::DoNotOptimize(value);
            }
        },
        [&] {
            for (const std::string& number : numbers) {
                int value = 0;
                const char* stop = nullptr;
                utils::StringToInt(number.data(), number.data() + number.size(), &value, true, &stop);
                benchmark::DoNotOptimize(value);
            }
        });
}

/// A thousand tokens of one to twelve characters.
std::string TokenText() {
    std::mt19937 random(2);
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text.append(1 + random() % 12, static_cast<char>('a' + random() % 26)).append(1, ",;"[random() % 2]);
    }
    return text;
}

void SplitString_BesideBoost(benchmark::State& state) {
    const std::string text = TokenText();
    Compare(
        state, 1, 1,
        [&] {
            std::vector<std::string> tokens;
            boost::algorithm::split(tokens, text, boost::algorithm::is_any_of(",;"));
            benchmark::DoNotOptimize(tokens);
        },
        [&] {
            std::vector<std::string> tokens;
            utils::SplitString(text, ",;", true, &tokens);
            benchmark::DoNotOptimize(tokens);
        });
}

enum class Text { Words, Sparse };

/// 64 KiB that end in what is looked for. In `Words` its first letter occurs everywhere, in `Sparse` nowhere else.
std::string Haystack(Text kind) {
    std::mt19937 random(3);
    std::string text;
    while (text.size() < 65536) {
        text += kind == Text::Sparse || random() % 6 != 0 ? static_cast<char>('a' + random() % 25) : ' ';
    }
    return text.replace(text.size() - 8, 8, kind == Text::Sparse ? "zebra..." : "codec...");
}

const char* Needle(Text kind) {
    return kind == Text::Sparse ? "zebra" : "codec.";
}

void FindStr_BesideStringView(benchmark::State& state, Text kind) {
    const std::string text = Haystack(kind);
    const char* const needle = Needle(kind);
    Compare(
        state, 10, 1, [&] { benchmark::DoNotOptimize(std::string_view(text).find(needle)); },
        [&] { benchmark::DoNotOptimize(utils::FindStr(text.data(), text.data() + text.size(), needle)); });
}

void TrimString(benchmark::State& state) {
    const std::string text = "  \t" + std::string(40, 'x') + "\r\n";
    for (auto _ : state) {
        benchmark::DoNotOptimize(utils::TrimString(text));
    }
}

void ToLower(benchmark::State& state) {
    const std::string text(1024, 'X');
    for (auto _ : state) {
        benchmark::DoNotOptimize(utils::ToLower(text));
    }
}

void TimeMsToStr8601Utc(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(utils::TimeMsToStr8601Utc(1577836800123, true));
    }
}

void InRounds(benchmark::internal::Benchmark* benchmark) {
    benchmark->UseManualTime()->Iterations(50 * SideBySide::kRounds);
}

void InRepetitions(benchmark::internal::Benchmark* benchmark) {
    benchmark->Repetitions(9)->ReportAggregatesOnly()->MinTime(0.1);
}

BENCHMARK(StringToInt_BesideFromChars)->Apply(InRounds);
BENCHMARK(SplitString_BesideBoost)->Apply(InRounds);
BENCHMARK_CAPTURE(FindStr_BesideStringView, words, Text::Words)->Apply(InRounds);
BENCHMARK_CAPTURE(FindStr_BesideStringView, sparse, Text::Sparse)->Apply(InRounds);
BENCHMARK(TrimString)->Apply(InRepetitions);
BENCHMARK(ToLower)->Apply(InRepetitions);
BENCHMARK(TimeMsToStr8601Utc)->Apply(InRepetitions);

}  // namespace
