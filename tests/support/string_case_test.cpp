#include <gmock/gmock.h>

#include "codrelay/utils/strings.h"

namespace {

constexpr unsigned long kUntouched = 4711;

/// The offset that a failed check tells; `kUntouched` where it passes.
unsigned long BadUtf8At(const std::string& text) {
    unsigned long offset = kUntouched;
    const bool good = utils::CheckUtf8String(text.c_str(), &offset);
    EXPECT_EQ(good, offset == kUntouched);
    EXPECT_EQ(utils::CheckUtf8String(text.c_str(), nullptr), good);
    return offset;
}

TEST(CheckUtf8String, PassesMultiByteSequencesOnly) {
    EXPECT_EQ(BadUtf8At("\xC3\xA9"), kUntouched);
    EXPECT_EQ(BadUtf8At(""), kUntouched);
    EXPECT_EQ(BadUtf8At("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC"), kUntouched);
    EXPECT_EQ(BadUtf8At("\xF8\x88\x80\x80\x80\xFC\x84\x80\x80\x80\x80"), kUntouched);
    EXPECT_EQ(BadUtf8At("abc"), 0U);
    EXPECT_EQ(BadUtf8At("\xC3\xA9"
                        "a"),
              2U);
}

TEST(CheckUtf8String, TellsWhereTheBrokenSequenceStarts) {
    EXPECT_EQ(BadUtf8At("\xC3"), 0U);
    EXPECT_EQ(BadUtf8At("\xC3\xA9\xE2\x82"), 2U);
    EXPECT_EQ(BadUtf8At("\xC3\xA9\xE2\x82\xC3\xA9"), 2U);
    EXPECT_EQ(BadUtf8At("\xE2\x41\xAC"), 0U);
    EXPECT_EQ(BadUtf8At("\xC3\xA9\xA9"), 2U);
}

TEST(CheckUtf8String, PassesOverlongForms) {
    EXPECT_EQ(BadUtf8At("\xC0\x80\xE0\x80\x80"), kUntouched);
}

TEST(CheckUtf8String, TakesTheLengthFromTheLeadByte) {
    for (unsigned lead = 1; lead < 256; ++lead) {
        std::size_t expected = 0;
        for (const unsigned firstLead : {0xC0U, 0xE0U, 0xF0U, 0xF8U, 0xFCU}) {
            expected += lead >= firstLead ? (firstLead == 0xC0 ? 2 : 1) : 0;
        }
        expected = lead >= 0xFE ? 0 : expected;
        for (std::size_t length = 1; length <= 7; ++length) {
            const std::string text = static_cast<char>(lead) + std::string(length - 1, '\x80');
            EXPECT_EQ(utils::CheckUtf8String(text.c_str(), nullptr), length == expected) << lead << ", " << length;
        }
    }
}

TEST(CheckUtf8String, WantsTenForTheTopBitsOfEachByteBehindTheLead) {
    for (unsigned byte = 1; byte < 256; ++byte) {
        const std::string text{'\xE2', '\x82', static_cast<char>(byte)};
        EXPECT_EQ(BadUtf8At(text), byte >= 0x80 && byte < 0xC0 ? kUntouched : 0U) << byte;
    }
}

TEST(ToLower, ConvertsAsciiLettersAndNothingElse) {
    std::string all;
    std::string lower;
    std::string upper;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
        lower += static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte + 32 : byte);
        upper += static_cast<char>(byte >= 'a' && byte <= 'z' ? byte - 32 : byte);
    }
    EXPECT_EQ(utils::ToLower(all), lower);
    EXPECT_EQ(utils::ToUpper(all), upper);
    EXPECT_EQ(utils::ToLower(""), "");
    EXPECT_EQ(utils::ToUpper(""), "");
}

TEST(LessIgnoreCase, LetsTheFirstDifferenceDecide) {
    EXPECT_TRUE(utils::LessIgnoreCase("abC", "ABd"));
    EXPECT_FALSE(utils::LessIgnoreCase("ABd", "abC"));
    EXPECT_TRUE(utils::LessIgnoreCase("aBcz", "abd"));
    // In lower case, '_' comes before the letters; in upper case it would come behind them.
    EXPECT_TRUE(utils::LessIgnoreCase("_", "A"));
    EXPECT_TRUE(utils::LessIgnoreCase("a", "\xE9"));
    EXPECT_FALSE(utils::LessIgnoreCase("\xE9", "a"));
}

TEST(LessIgnoreCase, TakesTheShorterForTheLesserWhereNothingDiffers) {
    EXPECT_TRUE(utils::LessIgnoreCase("AB", "abc"));
    EXPECT_FALSE(utils::LessIgnoreCase("abc", "AB"));
    EXPECT_TRUE(utils::LessIgnoreCase("", "a"));
    EXPECT_FALSE(utils::LessIgnoreCase("", ""));
    EXPECT_FALSE(utils::LessIgnoreCase("aB", "Ab"));
}

TEST(SameIgnoreCase, ComparesLengthAndLetters) {
    EXPECT_TRUE(utils::SameIgnoreCase("aB1", "Ab1"));
    EXPECT_TRUE(utils::SameIgnoreCase("", ""));
    EXPECT_FALSE(utils::SameIgnoreCase("ab", "abc"));
    EXPECT_FALSE(utils::SameIgnoreCase("abc", "ab"));
    EXPECT_FALSE(utils::SameIgnoreCase("ab", "ac"));
    EXPECT_FALSE(utils::SameIgnoreCase("[", "{"));
    EXPECT_TRUE(utils::SameIgnoreCase("\xE9", "\xE9"));
    EXPECT_FALSE(utils::SameIgnoreCase("\xC9", "\xE9"));
    EXPECT_FALSE(utils::SameIgnoreCase(boost::string_view("a\0b", 3), boost::string_view("a\0c", 3)));
}

TEST(IsHexString, TakesHexadecimalDigitsOnly) {
    EXPECT_TRUE(utils::IsHexString("0123456789abcdefABCDEF"));
    EXPECT_TRUE(utils::IsHexString(""));
    EXPECT_FALSE(utils::IsHexString("0x1"));
    EXPECT_FALSE(utils::IsHexString("g"));
    EXPECT_FALSE(utils::IsHexString(" 1"));
    EXPECT_FALSE(utils::IsHexString("-1"));
    EXPECT_FALSE(utils::IsHexString("1\xB2"));
    EXPECT_FALSE(utils::IsHexString(std::string("1\0", 2)));
}

}  // namespace
