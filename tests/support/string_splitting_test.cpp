#include <gmock/gmock.h>

#include <iostream>
#include <random>

#include "codrelay/utils/strings.h"
#include "random_text.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Tokens = std::vector<std::string>;

Tokens Split(const std::string& text, const std::string& delims, bool keepEmpty) {
    Tokens tokens{"left over"};
    utils::SplitString(text, delims, keepEmpty, &tokens);
    return tokens;
}

TEST(SplitString, LeavesEmptyTokensOutUnlessToldToKeepThem) {
    EXPECT_THAT(Split(",a,,b", ",", false), ElementsAre("a", "b"));
    EXPECT_THAT(Split(",a,,b", ",", true), ElementsAre("", "a", "", "b"));
    EXPECT_THAT(Split("a,", ",", true), ElementsAre("a", ""));
    EXPECT_THAT(Split(",", ",", true), ElementsAre("", ""));
    EXPECT_THAT(Split(",", ",", false), IsEmpty());
}

TEST(SplitString, GivesOneEmptyTokenOrNoneForAnEmptyText) {
    EXPECT_THAT(Split("", ",", true), ElementsAre(""));
    EXPECT_THAT(Split("", ",", false), IsEmpty());
    EXPECT_THAT(Split("", "", true), ElementsAre(""));
}

TEST(SplitString, GivesTheWholeTextWithoutDelimiters) {
    EXPECT_THAT(Split("a,b", "", true), ElementsAre("a,b"));
    EXPECT_THAT(Split("a,b", ";", false), ElementsAre("a,b"));
}

TEST(SplitString, TakesEachCharacterOfTheDelimitersForASeparator) {
    EXPECT_THAT(Split("a, b;c", ",; ", false), ElementsAre("a", "b", "c"));
    EXPECT_THAT(Split(std::string("a\0b\xFF"
                                  "c",
                                  5),
                      std::string("\0\xFF", 2), true),
                ElementsAre("a", "b", "c"));
}

TEST(SplitString, CutsARangeOfATextLikeATextOfItsOwn) {
    const std::string text = "x,a,b,y";
    Tokens tokens;
    utils::SplitString(text.begin() + 1, text.end() - 2, ",", true, &tokens);
    EXPECT_THAT(tokens, ElementsAre("", "a", "b"));
    utils::SplitString(text.begin(), text.begin(), ",", true, &tokens);
    EXPECT_THAT(tokens, ElementsAre(""));
    utils::SplitString(text.begin(), text.begin(), ",", false, &tokens);
    EXPECT_THAT(tokens, IsEmpty());
}

TEST(SplitString, MayReplaceTheTextThatItCuts) {
    Tokens tokens{"a,b", "c"};
    utils::SplitString(tokens[0], ",", false, &tokens);
    EXPECT_THAT(tokens, ElementsAre("a", "b"));
}

TEST(SplitStringInTwo, CutsAtTheFirstDelimiterOfTheListThatOccursAnywhere) {
    std::string first;
    std::string second;
    EXPECT_EQ(utils::SplitString("a-b+c", "+-", false, &first, &second), '+');
    EXPECT_EQ(first, "a-b");
    EXPECT_EQ(second, "c");
    EXPECT_EQ(utils::SplitString("a-b+c", "-+", false, &first, &second), '-');
    EXPECT_EQ(first, "a");
    EXPECT_EQ(second, "b+c");
    EXPECT_EQ(utils::SplitString("a-b-c", "+-", false, &first, &second), '-');
    EXPECT_EQ(first, "a");
    EXPECT_EQ(second, "b-c");
}

TEST(SplitStringInTwo, GivesTheWholeTextWithoutADelimiter) {
    for (const char* const delims : {"+-", ""}) {
        std::string first = "old";
        std::string second = "old";
        EXPECT_EQ(utils::SplitString(" ab ", delims, false, &first, &second), '\0');
        EXPECT_EQ(first, " ab ");
        EXPECT_EQ(second, "");
        EXPECT_EQ(utils::SplitString(" ab ", delims, true, &first, &second), '\0');
        EXPECT_EQ(first, "ab");
    }
}

TEST(SplitStringInTwo, TrimsBothPartsWhenTold) {
    std::string first;
    std::string second;
    EXPECT_EQ(utils::SplitString(" k = v\n", "=", true, &first, &second), '=');
    EXPECT_EQ(first, "k");
    EXPECT_EQ(second, "v");
    EXPECT_EQ(utils::SplitString(" k = v\n", "=", false, &first, &second), '=');
    EXPECT_EQ(first, " k ");
    EXPECT_EQ(second, " v\n");
}

TEST(SplitStringInTwo, CutsAtTheEnds) {
    std::string first;
    std::string second;
    EXPECT_EQ(utils::SplitString("=", "=", false, &first, &second), '=');
    EXPECT_EQ(first, "");
    EXPECT_EQ(second, "");
    EXPECT_EQ(utils::SplitString("a=", "=", false, &first, &second), '=');
    EXPECT_EQ(first, "a");
    EXPECT_EQ(second, "");
    EXPECT_EQ(utils::SplitString("=a", "=", false, &first, &second), '=');
    EXPECT_EQ(first, "");
    EXPECT_EQ(second, "a");
}

TEST(SplitStringInTwo, NeedsNeitherOutput) {
    std::string part;
    EXPECT_EQ(utils::SplitString("a=b", "=", false, nullptr, nullptr), '=');
    EXPECT_EQ(utils::SplitString("a=b", "=", false, &part, nullptr), '=');
    EXPECT_EQ(part, "a");
    EXPECT_EQ(utils::SplitString("a=b", "=", false, nullptr, &part), '=');
    EXPECT_EQ(part, "b");
}

TEST(SplitStringInTwo, MayReplaceTheTextThatItCuts) {
    std::string text = "a=b";
    std::string other;
    EXPECT_EQ(utils::SplitString(text, "=", false, &text, &other), '=');
    EXPECT_EQ(text, "a");
    EXPECT_EQ(other, "b");
    text = "a=b";
    EXPECT_EQ(utils::SplitString(text, "=", true, &other, &text), '=');
    EXPECT_EQ(text, "b");
    EXPECT_EQ(other, "a");
}

TEST(TrimString, RemovesAllKindsOfWhiteSpaceFromTheEndsOnly) {
    EXPECT_EQ(utils::TrimString(" \t\n\v\f\ra b\r\f\v\n\t "), "a b");
    EXPECT_EQ(utils::TrimString("ab"), "ab");
    EXPECT_EQ(utils::TrimString(""), "");
    EXPECT_EQ(utils::TrimString(" \t\n"), "");
    EXPECT_EQ(utils::TrimString(std::string(" \0 ", 3)), std::string(1, '\0'));
    EXPECT_EQ(utils::TrimString("\xA0\x85\xFF"), "\xA0\x85\xFF");
}

TEST(TrimLeading, RemovesTheRunAtTheStart) {
    EXPECT_EQ(utils::TrimLeading("xxaxbxx", 'x'), "axbxx");
    EXPECT_EQ(utils::TrimLeading("xxx", 'x'), "");
    EXPECT_EQ(utils::TrimLeading("", 'x'), "");
    EXPECT_EQ(utils::TrimLeading("\xFF\xFF"
                                 "a",
                                 '\xFF'),
              "a");
}

TEST(TrimTrailing, RemovesTheRunAtTheEnd) {
    EXPECT_EQ(utils::TrimTrailing("xxaxbxx", 'x'), "xxaxb");
    EXPECT_EQ(utils::TrimTrailing("xxx", 'x'), "");
    EXPECT_EQ(utils::TrimTrailing("", 'x'), "");
    EXPECT_EQ(utils::TrimTrailing("a ", 'x'), "a ");
}

TEST(TrimBothEnds, RemovesBothRuns) {
    EXPECT_EQ(utils::TrimBothEnds("xxaxbxx", 'x'), "axb");
    EXPECT_EQ(utils::TrimBothEnds("xxx", 'x'), "");
    EXPECT_EQ(utils::TrimBothEnds("", 'x'), "");
    EXPECT_EQ(utils::TrimBothEnds(" xa", ' '), "xa");
}

// --- beside slow, obvious twins ---

Tokens SlowSplit(std::string text, const std::string& delims, bool keepEmpty) {
    Tokens tokens(1);
    for (const char c : text) {
        if (delims.find(c) != std::string::npos) {
            tokens.emplace_back();
        } else {
            tokens.back() += c;
        }
    }
    if (!keepEmpty) {
        tokens.erase(std::remove(tokens.begin(), tokens.end(), ""), tokens.end());
    }
    return tokens;
}

std::string SlowTrim(std::string text, const std::string& unwanted, bool leading, bool trailing) {
    while (leading && !text.empty() && unwanted.find(text.front()) != std::string::npos) {
        text.erase(text.begin());
    }
    while (trailing && !text.empty() && unwanted.find(text.back()) != std::string::npos) {
        text.pop_back();
    }
    return text;
}

TEST(SplitString, GivesWhatItsObviousTwinGives) {
    RandomText random;
    for (int i = 0; i < 200000; ++i) {
        const std::string text = random.Make("ab,;\xFE", 12);
        const std::string delims = random.Make(",;\xFE", 3);
        for (const bool keepEmpty : {false, true}) {
            ASSERT_EQ(Split(text, delims, keepEmpty), SlowSplit(text, delims, keepEmpty)) << text << " at " << delims;
        }
    }
}

TEST(TrimString, GivesWhatItsObviousTwinGives) {
    RandomText random;
    for (int i = 0; i < 200000; ++i) {
        const std::string text = random.Make(" \t\nab\xA0", 10);
        ASSERT_EQ(utils::TrimString(text), SlowTrim(text, " \t\n\v\f\r", true, true)) << text;
        ASSERT_EQ(utils::TrimLeading(text, 'a'), SlowTrim(text, "a", true, false)) << text;
        ASSERT_EQ(utils::TrimTrailing(text, 'a'), SlowTrim(text, "a", false, true)) << text;
        ASSERT_EQ(utils::TrimBothEnds(text, 'a'), SlowTrim(text, "a", true, true)) << text;
    }
}

}  // namespace
