#include <limits>
#include <string_view>

#include "codrelay/utils/strings.h"

namespace {

constexpr std::size_t npos = std::string_view::npos;

std::string_view StdView(const boost::string_view& text) {
    return {text.data(), text.size()};
}

/// Where the `count`-th delimiter starts, counted from the end of the text if `count` is negative; npos if there are
/// too few. REQUIRES: `count` is not 0.
std::size_t FindDelimiter(std::string_view text, std::string_view delim, long long count) {
    if (delim.empty()) {
        return npos;
    }
    std::size_t found = count > 0 ? text.find(delim) : text.rfind(delim);
    for (; count > 1 && found != npos; --count) {
        found = text.find(delim, found + delim.size());
    }
    for (; count < -1 && found != npos; ++count) {
        found = text.substr(0, found).rfind(delim);
    }
    return found;
}

/// Where the stretch behind the `from`-th delimiter starts; npos if there is none.
std::size_t FindStart(std::string_view text, std::string_view delim, boost::optional<int> from) {
    if (!from || *from == 0) {
        return 0;
    }
    const std::size_t found = FindDelimiter(text, delim, *from);
    if (found != npos) {
        return found + delim.size();
    }
    return *from > 0 ? npos : 0;
}

/// Where the stretch before the `to`-th delimiter ends; 0 if there is none.
std::size_t FindStop(std::string_view text, std::string_view delim, boost::optional<int> to) {
    if (!to) {
        return text.size();
    }
    const std::size_t found = *to == 0 ? 0 : FindDelimiter(text, delim, *to);
    if (found != npos) {
        return found;
    }
    return *to > 0 ? text.size() : 0;
}

}  // namespace

namespace utils {

boost::string_view GetSegmentSeq(const boost::string_view& text, const boost::string_view& delim,
                                 boost::optional<int> from, boost::optional<int> to) {
    const std::size_t start = FindStart(StdView(text), StdView(delim), from);
    const std::size_t stop = FindStop(StdView(text), StdView(delim), to);
    return start < stop ? text.substr(start, stop - start) : boost::string_view();
}

boost::string_view GetSegment(const boost::string_view& text, const boost::string_view& delim,
                              boost::optional<int> index) {
    if (!index) {
        return {};
    }
    // Behind the last delimiter, from either end, there is none left to count to.
    if (*index == -1 || *index == std::numeric_limits<int>::max()) {
        return GetSegmentSeq(text, delim, index, boost::none);
    }
    return GetSegmentSeq(text, delim, index, *index + 1);
}

SegmentIterator::SegmentIterator(const boost::string_view& text, const boost::string_view& delim)
    : m_Rest(text), m_Delimiter(delim), m_bHasNext(!text.empty()) {}

bool SegmentIterator::HasNext() const {
    return m_bHasNext;
}

boost::string_view SegmentIterator::Next() {
    const boost::string_view rest = m_Rest;
    if (m_Delimiter.empty()) {
        return rest.substr(0, 0);
    }
    const std::size_t found = StdView(rest).find(StdView(m_Delimiter));
    if (found == npos) {
        m_Rest.clear();
        m_bHasNext = false;
        return rest;
    }
    m_Rest.remove_prefix(found + m_Delimiter.size());
    return rest.substr(0, found);
}

}  // namespace utils
