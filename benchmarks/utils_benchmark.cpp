// The text and time utilities beside the plain way to the same result. Read the ratios of one run, by medians:
//   utils_benchmark --benchmark_repetitions=15 --benchmark_report_aggregates_only=true
//                   --benchmark_enable_random_interleaving=true
#include <benchmark/benchmark.h>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <charconv>
#include <random>
#include <string_view>

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

void StringToInt(benchmark::State& state) {
    const std::vector<std::string> numbers = Numbers();
    for (auto _ : state) {
        for (const std::string& number : numbers) {
            int value = 0;
            const char* stop = nullptr;
            utils::StringToInt(number.data(), number.data() + number.size(), &value, true, &stop);
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kNumbers));
}
BENCHMARK(StringToInt);

void StringToInt_FromChars(benchmark::State& state) {
    const std::vector<std::string> numbers = Numbers();
    for (auto _ : state) {
        for (const std::string& number : numbers) {
            int value = 0;
            benchmark::DoNotOptimize(std::from_chars(number.data(), number.data() + number.size(), value));
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kNumbers));
}
BENCHMARK(StringToInt_FromChars);

/// A thousand tokens of one to twelve characters.
std::string TokenText() {
    std::mt19937 random(2);
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text.append(1 + random() % 12, static_cast<char>('a' + random() % 26)).append(1, ",;"[random() % 2]);
    }
    return text;
}

void SplitString(benchmark::State& state) {
    const std::string text = TokenText();
    for (auto _ : state) {
        std::vector<std::string> tokens;
        utils::SplitString(text, ",;", true, &tokens);
        benchmark::DoNotOptimize(tokens);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(SplitString);

void SplitString_Boost(benchmark::State& state) {
    const std::string text = TokenText();
    for (auto _ : state) {
        std::vector<std::string> tokens;
        boost::algorithm::split(tokens, text, boost::algorithm::is_any_of(",;"));
        benchmark::DoNotOptimize(tokens);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(SplitString_Boost);

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

void FindStr(benchmark::State& state, Text kind) {
    const std::string text = Haystack(kind);
    const char* const needle = Needle(kind);
    for (auto _ : state) {
        const char* const found = utils::FindStr(text.data(), text.data() + text.size(), needle);
        benchmark::DoNotOptimize(found);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(FindStr, words, Text::Words);
BENCHMARK_CAPTURE(FindStr, sparse, Text::Sparse);

void FindStr_StringView(benchmark::State& state, Text kind) {
    const std::string text = Haystack(kind);
    const char* const needle = Needle(kind);
    for (auto _ : state) {
        const std::size_t found = std::string_view(text).find(needle);
        benchmark::DoNotOptimize(found);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(FindStr_StringView, words, Text::Words);
BENCHMARK_CAPTURE(FindStr_StringView, sparse, Text::Sparse);

void TrimString(benchmark::State& state) {
    const std::string text = "  \t" + std::string(40, 'x') + "\r\n";
    for (auto _ : state) {
        benchmark::DoNotOptimize(utils::TrimString(text));
    }
}
BENCHMARK(TrimString);

void ToLower(benchmark::State& state) {
    const std::string text(1024, 'X');
    for (auto _ : state) {
        benchmark::DoNotOptimize(utils::ToLower(text));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(ToLower);

void TimeMsToStr8601Utc(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(utils::TimeMsToStr8601Utc(1577836800123, true));
    }
}
BENCHMARK(TimeMsToStr8601Utc);

}  // namespace
