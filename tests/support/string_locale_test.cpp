#include <gmock/gmock.h>

#include <clocale>
#include <cstdlib>
#include <locale>

#include "codrelay/utils/strings.h"

namespace {

/// Puts the C library into German with the letters of ISO 8859-1, one byte each, while it lives.
class ScopedLatinLetters {
public:
    ScopedLatinLetters() {
        setenv("LOCPATH", CODRELAY_LOCALES, 1);
        m_bSet = std::setlocale(LC_CTYPE, "de_DE.ISO-8859-1") != nullptr;
    }
    ~ScopedLatinLetters() {
        std::setlocale(LC_CTYPE, "C");
        unsetenv("LOCPATH");
    }
    ScopedLatinLetters(const ScopedLatinLetters&) = delete;
    ScopedLatinLetters& operator=(const ScopedLatinLetters&) = delete;

    bool IsSet() const { return m_bSet; }

private:
    bool m_bSet;
};

TEST(TextUnderALocale, TakesCaseFromTheCLibrary) {
    const ScopedLatinLetters latin;
    ASSERT_TRUE(latin.IsSet());
    EXPECT_EQ(utils::ToLower("A\xC4\xD7"), "a\xE4\xD7");
    EXPECT_EQ(utils::ToUpper("a\xE4\xF7"), "A\xC4\xF7");
    const std::string text = "x\xC4y";
    EXPECT_EQ(utils::FindStrIgnoreCase(text.c_str(), nullptr, "\xE4"), text.c_str() + 1);
    EXPECT_EQ(utils::ExtractMessage(text.c_str(), nullptr, "\xE4", "Y", false).first, text.c_str() + 1);
    EXPECT_FALSE(utils::LessIgnoreCase("\xC4", "\xE4"));
    EXPECT_FALSE(utils::LessIgnoreCase("\xE4", "\xC4"));
}

TEST(TextUnderALocale, ComparesBytesAsTheyAreWhereNotToldToIgnoreCase) {
    const ScopedLatinLetters latin;
    ASSERT_TRUE(latin.IsSet());
    const std::string text = "x\xC4y";
    EXPECT_EQ(utils::FindStr(text.c_str(), nullptr, "\xE4"), text.c_str() + 3);
    EXPECT_EQ(utils::ExtractMessage(text.c_str(), nullptr, "\xE4", "y", true).first, text.c_str() + 3);
}

/// Letters of which '#' is the small form of '!'.
class OddCase : public std::ctype<char> {
protected:
    char do_toupper(char c) const override { return c == '#' ? '!' : std::ctype<char>::do_toupper(c); }
    const char* do_toupper(char* begin, const char* end) const override {
        for (; begin != end; ++begin) {
            *begin = do_toupper(*begin);
        }
        return end;
    }
};

TEST(TextUnderALocale, SameIgnoreCaseTakesCaseFromTheGlobalLocale) {
    EXPECT_FALSE(utils::SameIgnoreCase("a#", "A!"));
    const std::locale former = std::locale::global(std::locale(std::locale(), new OddCase));
    const bool same = utils::SameIgnoreCase("a#", "A!");
    std::locale::global(former);
    EXPECT_TRUE(same);
}

}  // namespace
