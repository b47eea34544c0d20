#pragma once

/// @file
/// Functions on text.

#include <boost/optional/optional.hpp>
#include <boost/utility/string_view.hpp>
#include <string>
#include <utility>
#include <vector>

#include "codrelay/built_with.h"
#include "codrelay/export.h"

/// Text as bytes: numbers, splitting, trimming, searching, case, fields and segments.
///
/// No function here knows an encoding, but for CheckUtf8String. Bytes of any value are welcome everywhere; white space,
/// letters and case are those of the C library under the process's current locale. Nothing is logged, and nothing is
/// thrown but for want of memory: failure is told by the result. All functions may be called from several threads at
/// once, on different outputs.
///
/// Where a range of `begin` and `end` is taken, a null `end` stands for the text's terminator, and a byte at or behind
/// a given `end` is never read. REQUIRES: pointers are valid and not null, and `begin` is not behind `end`, unless an
/// argument is said to be optional.
namespace utils {

/// @{
/// Reads a decimal number: an optional `+` or `-`, then digits. If `strict` is false, leading white space is skipped
/// and text behind the number does not matter; if it is true, the number must be the whole range.
///
/// Returns true if at least one digit was read, the number fits the type, and, if `strict`, the range was used up.
/// `*value` gets the number, also when text behind it is all that makes the result false. It gets 0 where no digit was
/// read, and the nearest limit of the type where the number does not fit. An unsigned type takes a `-` before zeros
/// only; any other digit there does not fit, and the limit is 0.
/// `*stop`, if `stop` is not null, gets the first byte that was not used: `end` for an empty or blank range, the place
/// behind a sign without digits, the digit that would have left the type's range.
/// Example: `int v; assert(StringToInt("-42", nullptr, &v, true, nullptr) && v == -42);`
CODRELAY_API bool StringToInt(const char* begin, const char* end, signed char* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, unsigned char* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, short* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, unsigned short* value, bool strict,
                              const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, int* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, unsigned int* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, long* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, unsigned long* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, long long* value, bool strict, const char** stop);
CODRELAY_API bool StringToInt(const char* begin, const char* end, unsigned long long* value, bool strict,
                              const char** stop);
/// @}

/// @{
/// Reads a hexadecimal number, with digits of either case. A sign is taken as by StringToInt; a prefix is not: in
/// "0x1F" the number is 0 and ends at the `x`. All else, failure included, is as for StringToInt.
/// Example: `int v; assert(HexStringToInt("-fF", nullptr, &v, true, nullptr) && v == -255);`
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, signed char* value, bool strict,
                                 const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, unsigned char* value, bool strict,
                                 const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, short* value, bool strict, const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, unsigned short* value, bool strict,
                                 const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, int* value, bool strict, const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, unsigned int* value, bool strict,
                                 const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, long* value, bool strict, const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, unsigned long* value, bool strict,
                                 const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, long long* value, bool strict, const char** stop);
CODRELAY_API bool HexStringToInt(const char* begin, const char* end, unsigned long long* value, bool strict,
                                 const char** stop);
/// @}

/// Cuts `text` at every character that stands in `delims`, and replaces the contents of `*out` by the tokens, in order.
/// Empty tokens are left out unless `keepEmpty`. Without a delimiter the whole text is the one token, so an empty text
/// gives one empty token or none. Cannot fail.
/// Example: `std::vector<std::string> v; SplitString("a, b", ", ", false, &v); assert(v.size() == 2);`
CODRELAY_API void SplitString(const std::string& text, const std::string& delims, bool keepEmpty,
                              std::vector<std::string>* out);

/// The same on the range from `begin` to `end` of a string. The string may be an element of `*out`.
/// Example: `std::vector<std::string> v(1); SplitString(v[0].begin(), v[0].end(), ",", false, &v); assert(v.empty());`
CODRELAY_API void SplitString(std::string::const_iterator begin, std::string::const_iterator end,
                              const std::string& delims, bool keepEmpty, std::vector<std::string>* out);

/// Cuts `text` once, at the first occurrence of the first character of `delims` that occurs in the text at all: with
/// "+-" the text "a-b+c" is cut at the `+`. `*first` gets what stands before the cut and `*second` what stands behind
/// it, both through TrimString if `trim`; either may be null, and either may be `text` itself. Returns the character at
/// the cut. If no delimiter occurs, returns 0; then `*first` gets the whole text and `*second` nothing.
/// Example: `std::string k, v; assert(SplitString("k = v", "=", true, &k, &v) == '=' && k == "k" && v == "v");`
CODRELAY_API char SplitString(const std::string& text, const std::string& delims, bool trim, std::string* first,
                              std::string* second);

/// Returns `text` without the white space at its ends; nothing remains of a blank text. Cannot fail.
/// Example: `assert(TrimString("\t a b\r\n") == "a b");`
CODRELAY_API std::string TrimString(const std::string& text);

/// Returns `text` without the run of `c` at its start. Cannot fail.
/// Example: `assert(TrimLeading("007", '0') == "7");`
CODRELAY_API std::string TrimLeading(const std::string& text, char c);

/// Returns `text` without the run of `c` at its end. Cannot fail.
/// Example: `assert(TrimTrailing("1.500", '0') == "1.5");`
CODRELAY_API std::string TrimTrailing(const std::string& text, char c);

/// Returns `text` without the runs of `c` at its start and its end. Cannot fail.
/// Example: `assert(TrimBothEnds("/a/b/", '/') == "a/b");`
CODRELAY_API std::string TrimBothEnds(const std::string& text, char c);

/// Returns the first occurrence of the terminated text `what` in the range: `begin` for an empty `what`, `end` (the
/// terminator where `end` is null) if it does not occur.
/// Example: `const char* t = "a=b"; assert(FindStr(t, nullptr, "=") == t + 1);`
CODRELAY_API const char* FindStr(const char* begin, const char* end, const char* what);

/// The same with both sides compared in lower case.
/// Example: `const char* t = "aXb"; assert(FindStrIgnoreCase(t, nullptr, "xB") == t + 1);`
CODRELAY_API const char* FindStrIgnoreCase(const char* begin, const char* end, const char* what);

/// Finds a stretch of the range that is marked by the terminated texts `open` and `close`, in lower case on both sides
/// unless `caseSensitive`. Returns the first byte of the first `open` and the place behind the first `close` that
/// starts at or behind it; so `close` may lie within `open`, and both markers are part of the stretch. Returns `end`
/// twice (the terminator where `end` is null) if either does not occur or is empty.
/// Example: `const char* t = "x<a>y"; assert(ExtractMessage(t, nullptr, "<", ">", true).first == t + 1);`
CODRELAY_API std::pair<const char*, const char*> ExtractMessage(const char* begin, const char* end, const char* open,
                                                                const char* close, bool caseSensitive);

/// True if the terminated `text` is made of multi-byte UTF-8 sequences only, of two to six bytes each, or is empty. A
/// plain ASCII character is no such sequence and fails. Overlong forms pass. On failure `*badOffset`, if `badOffset` is
/// not null, gets the offset in bytes of the sequence at fault; on success it is left alone.
/// Example: `unsigned long at; assert(!CheckUtf8String("\xC3\xA9!", &at) && at == 2);`
CODRELAY_API bool CheckUtf8String(const char* text, unsigned long* badOffset);

/// Returns `text` in lower case, byte by byte. Cannot fail.
/// Example: `assert(ToLower("H.264") == "h.264");`
CODRELAY_API std::string ToLower(const std::string& text);

/// Returns `text` in upper case, byte by byte. Cannot fail.
/// Example: `assert(ToUpper("aac") == "AAC");`
CODRELAY_API std::string ToUpper(const std::string& text);

/// True if `a` comes before `b` in lower case, as bytes without sign; a text comes before its continuations. A strict
/// weak order, fit for sorting. Cannot fail.
/// Example: `assert(LessIgnoreCase("a", "B") && !LessIgnoreCase("b", "B"));`
CODRELAY_API bool LessIgnoreCase(const std::string& a, const std::string& b);

/// True if both texts are the same in upper case, under the global std::locale. Cannot fail.
/// Example: `assert(SameIgnoreCase("Opus", "OPUS"));`
CODRELAY_API bool SameIgnoreCase(const boost::string_view& a, const boost::string_view& b);

/// True if `text` holds hexadecimal digits only, of either case; so of an empty text. Cannot fail.
/// Example: `assert(IsHexString("00fF") && !IsHexString("0x1"));`
CODRELAY_API bool IsHexString(const std::string& text);

/// Returns what follows the first occurrence of `key` at or behind the offset `start` (in bytes), up to the end of that
/// line; "\n" and "\r\n" both end a line. `key` is found anywhere, inside of words too, and no `=` is looked for: make
/// it part of `key`. Returns an empty text if `key` is empty or not found, or `start` lies behind the text.
/// Example: `assert(GetIniField("name=x\r\nother=y", "name=", 0) == "x");`
CODRELAY_API std::string GetIniField(const std::string& text, const std::string& key, const unsigned long& start);

/// Returns the part of `text` between two occurrences of the whole text `delim`, as a view into `text`. It starts
/// behind the `from`-th delimiter and ends before the `to`-th; positive counts run from the start of the text and
/// negative ones from its end, and counted delimiters do not overlap. An unset `from`, or 0, is the start of the text,
/// an unset `to` its end. Too few delimiters for a negative `from` mean the start, for a positive `to` the end. Returns
/// an empty view for too few for a positive `from` or a negative `to`, for a `to` of 0, and where the end does not lie
/// behind the start. An empty `delim` occurs nowhere.
/// Example: `assert(GetSegmentSeq("a/b/c", "/", 1, boost::none) == "b/c");`
CODRELAY_API boost::string_view GetSegmentSeq(const boost::string_view& text, const boost::string_view& delim,
                                              boost::optional<int> from, boost::optional<int> to);

/// Returns one of the segments that `delim`, as a whole, parts `text` into, as a view into `text`: 0 is the first, -1
/// the last. Returns an empty view for an unset `index` and for one that is out of range.
/// Example: `assert(GetSegment("a/b/c", "/", -2) == "b");`
CODRELAY_API boost::string_view GetSegment(const boost::string_view& text, const boost::string_view& delim,
                                           boost::optional<int> index);

/// Walks the segments that a delimiter, as a whole, parts a text into. Text that ends in a delimiter has a last, empty
/// segment; an empty text has none. Owns neither text: both must outlive the iterator and the segments. Belongs to one
/// thread; copies are independent.
/// Example: `for (SegmentIterator i("a/b", "/"); i.HasNext();) assert(i.Next().size() == 1);`
class CODRELAY_API SegmentIterator {
public:
    /// Stands before the first segment of `text`.
    /// Example: `assert(!SegmentIterator("", "/").HasNext());`
    SegmentIterator(const boost::string_view& text, const boost::string_view& delim);

    /// True while `Next` has something to give.
    /// Example: `SegmentIterator i("a/", "/"); i.Next(); i.Next(); assert(!i.HasNext());`
    bool HasNext() const;

    /// Returns the next segment, as a view into the text, and moves behind it; an empty view when there are no more.
    /// With an empty delimiter it returns an empty view and moves nowhere, so that a loop over `HasNext` does not end.
    /// Example: `assert(SegmentIterator("a::b", "::").Next() == "a");`
    boost::string_view Next();

private:
    boost::string_view m_Rest;
    boost::string_view m_Delimiter;
    bool m_bHasNext;
};

}  // namespace utils
