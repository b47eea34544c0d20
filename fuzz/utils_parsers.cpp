// Feeds one input to every parser of the text and time utilities. The bytes up to the first line feed are the second
// argument of those that take two texts (delimiters, a key, a needle, a format), the rest is the text.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "codrelay/utils/strings.h"
#include "codrelay/utils/time.h"

namespace {

constexpr std::size_t kLargestInput = 4096;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// The input, in blocks of their very sizes, so that no byte around them can be read unseen.
struct Input {
    std::string text;
    std::string argument;
    std::unique_ptr<char[]> block;

    const char* begin() const { return block.get(); }
    const char* end() const { return block.get() + text.size(); }
};

Input MakeInput(const char* data, std::size_t size) {
    Input input;
    const char* const lineFeed = std::find(data, data + size, '\n');
    input.argument.assign(data, lineFeed);
    input.text.assign(lineFeed == data + size ? data : lineFeed + 1, data + size);
    input.block.reset(new char[input.text.size()]);
    std::copy(input.text.begin(), input.text.end(), input.block.get());
    return input;
}

template <typename T>
void ParseNumbers(const Input& input) {
    for (const bool strict : {false, true}) {
        T value = 1;
        const char* stop = nullptr;
        const bool decimal = utils::StringToInt(input.begin(), input.end(), &value, strict, &stop);
        Require(stop >= input.begin() && stop <= input.end() && (!decimal || !strict || stop == input.end()));
        const bool hexadecimal = utils::HexStringToInt(input.begin(), input.end(), &value, strict, &stop);
        Require(stop >= input.begin() && stop <= input.end() && (!hexadecimal || !strict || stop == input.end()));
        utils::StringToInt(input.text.c_str(), nullptr, &value, strict, nullptr);
        utils::HexStringToInt(input.text.c_str(), nullptr, &value, strict, nullptr);
    }
}

void ParseAllNumbers(const Input& input) {
    ParseNumbers<signed char>(input);
    ParseNumbers<unsigned char>(input);
    ParseNumbers<short>(input);
    ParseNumbers<unsigned short>(input);
    ParseNumbers<int>(input);
    ParseNumbers<unsigned int>(input);
    ParseNumbers<long>(input);
    ParseNumbers<unsigned long>(input);
    ParseNumbers<long long>(input);
    ParseNumbers<unsigned long long>(input);
}

void Split(const Input& input) {
    std::vector<std::string> tokens;
    utils::SplitString(input.text, input.argument, true, &tokens);
    std::size_t size = tokens.size() - 1;
    for (const std::string& token : tokens) {
        size += token.size();
    }
    Require(size == input.text.size());
    utils::SplitString(input.text, input.argument, false, &tokens);
    std::string first;
    std::string second;
    const char cut = utils::SplitString(input.text, input.argument, false, &first, &second);
    Require(cut != '\0' || first == input.text || first.size() + 1 + second.size() == input.text.size());
    utils::SplitString(input.text, input.argument, true, &first, nullptr);
    Require(utils::TrimString(first) == first);
}

void Search(const Input& input) {
    const char* const what = input.argument.c_str();
    for (const auto find : {utils::FindStr, utils::FindStrIgnoreCase}) {
        const char* const found = find(input.begin(), input.end(), what);
        Require(found == input.end() || found + std::strlen(what) <= input.end());
    }
    for (const bool caseSensitive : {false, true}) {
        const auto range = utils::ExtractMessage(input.begin(), input.end(), what, ">", caseSensitive);
        Require(input.begin() <= range.first && range.first <= range.second && range.second <= input.end());
    }
    utils::GetIniField(input.text, input.argument, input.argument.size());
    unsigned long badOffset = 0;
    Require(utils::CheckUtf8String(input.text.c_str(), &badOffset) || badOffset < input.text.size());
    utils::IsHexString(input.text);
    utils::SameIgnoreCase(utils::ToLower(input.text), utils::ToUpper(input.text));
    utils::LessIgnoreCase(input.text, input.argument);
}

void Segments(const Input& input) {
    const boost::string_view text(input.begin(), input.text.size());
    int count = 0;
    utils::SegmentIterator iterator(text, input.argument);
    for (; iterator.HasNext() && !input.argument.empty(); ++count) {
        Require(count > 16 || utils::GetSegment(text, input.argument, count) == iterator.Next());
        if (count > 16) {
            iterator.Next();
        }
    }
    utils::GetSegmentSeq(text, input.argument, -2, -1);
    utils::GetSegmentSeq(text, input.argument, count - 1, boost::none);
    utils::GetSegment(text, input.argument, -count);
}

void Times(const Input& input) {
    int seconds = 0;
    utils::ParseTimeString(input.text, &seconds);
    utils::ParseTimeString(input.text, input.argument, &seconds);
    Require(seconds >= 0 && seconds < 86400);
    utils::ParseTimezoneString(input.text, &seconds);
    Require(seconds > -86400 && seconds < 86400);
    tm fields{};
    utils::ParseIso8601Time(input.text, &fields);
    utils::ParseCustomTimeString(input.text, "%d-%d-%d %d:%d:%d", &fields);
    bool failed = false;
    const long long period = utils::ParseTimePeriod(input.text, &failed);
    Require(utils::ParseTimePeriod(input.text).value_or(0) == period);
    // Boost's parser is a thousand times slower than all the rest, so it gets the inputs that are meant for it.
    if (input.argument.find('%') != std::string::npos) {
        utils::ParseTime(input.text, input.argument, false);
        utils::ParseTime(input.text, input.argument, true);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > kLargestInput) {
        return 0;
    }
    const Input input = MakeInput(reinterpret_cast<const char*>(data), size);
    ParseAllNumbers(input);
    Split(input);
    Search(input);
    Segments(input);
    Times(input);
    return 0;
}
