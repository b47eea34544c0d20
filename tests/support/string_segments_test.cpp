#include <gmock/gmock.h>

#include <limits>

#include "codrelay/utils/strings.h"
#include "random_text.h"

using boost::none;
using boost::optional;
using testing::ElementsAre;
using testing::IsEmpty;
using utils::GetSegment;
using utils::GetSegmentSeq;
using View = boost::string_view;

namespace {

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

TEST(GetSegmentSeq, CutsBetweenDelimitersCountedFromTheStart) {
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 1, none), "b/c");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 1, 2), "b");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, 2), "a/b");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 0, 1), "a");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, none), "a/b/c");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 2, none), "c");
}

TEST(GetSegmentSeq, CutsBetweenDelimitersCountedFromTheEnd) {
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", -1, none), "c");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", -2, none), "b/c");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", -2, -1), "b");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, -1), "a/b");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, -2), "a");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 1, -1), "b");
}

TEST(GetSegmentSeq, TakesTooFewDelimitersForTheNearEndOrForNothing) {
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 3, none), "");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", -3, none), "a/b/c");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, 3), "a/b/c");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, -3), "");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", kHighest, none), "");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", kLowest, kHighest), "a/b/c");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, kLowest), "");
}

TEST(GetSegmentSeq, IsEmptyWhereTheStopDoesNotLieBehindTheStart) {
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", none, 0), "");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", -1, 0), "");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 2, 1), "");
    EXPECT_EQ(GetSegmentSeq("a/b/c", "/", 1, 1), "");
    EXPECT_EQ(GetSegmentSeq("a//c", "/", 1, 2), "");
    EXPECT_EQ(GetSegmentSeq("a/", "/", 1, none), "");
}

TEST(GetSegmentSeq, FindsAnEmptyDelimiterNowhere) {
    EXPECT_EQ(GetSegmentSeq("abc", "", 1, none), "");
    EXPECT_EQ(GetSegmentSeq("abc", "", -1, none), "abc");
    EXPECT_EQ(GetSegmentSeq("abc", "", none, 1), "abc");
    EXPECT_EQ(GetSegmentSeq("abc", "", none, -1), "");
    EXPECT_EQ(GetSegmentSeq("abc", "", none, none), "abc");
}

TEST(GetSegmentSeq, IsEmptyForAnEmptyText) {
    EXPECT_EQ(GetSegmentSeq("", "/", none, none), "");
    EXPECT_EQ(GetSegmentSeq("", "/", -1, 1), "");
    EXPECT_EQ(GetSegmentSeq(View(), View(), none, none), "");
}

TEST(GetSegmentSeq, TakesTheDelimiterAsAWhole) {
    EXPECT_EQ(GetSegmentSeq("a:b::c:d", "::", 1, none), "c:d");
    EXPECT_EQ(GetSegmentSeq("a:b::c:d", "::", none, -1), "a:b");
}

TEST(GetSegmentSeq, CountsDelimitersThatDoNotOverlap) {
    EXPECT_EQ(GetSegmentSeq("aaaab", "aa", 2, none), "b");
    EXPECT_EQ(GetSegmentSeq("aaaab", "aa", 3, none), "");
    EXPECT_EQ(GetSegmentSeq("baaaa", "aa", none, -2), "b");
    EXPECT_EQ(GetSegmentSeq("baaaa", "aa", none, -3), "");
}

TEST(GetSegmentSeq, GivesAViewIntoTheText) {
    const std::string text = "a/b/c";
    EXPECT_EQ(GetSegmentSeq(text, "/", 1, 2).data(), text.data() + 2);
}

TEST(GetSegment, GivesOneSegmentFromEitherEnd) {
    EXPECT_EQ(GetSegment("a/b/c", "/", 0), "a");
    EXPECT_EQ(GetSegment("a/b/c", "/", 1), "b");
    EXPECT_EQ(GetSegment("a/b/c", "/", 2), "c");
    EXPECT_EQ(GetSegment("a/b/c", "/", -1), "c");
    EXPECT_EQ(GetSegment("a/b/c", "/", -2), "b");
    EXPECT_EQ(GetSegment("a/b/c", "/", -3), "a");
}

TEST(GetSegment, IsEmptyForAnIndexThatIsOutOfRangeOrUnset) {
    for (const int index : {5, 3, -4, -5, kHighest, kHighest - 1, kLowest, kLowest + 1}) {
        EXPECT_EQ(GetSegment("a/b/c", "/", index), "") << index;
    }
    EXPECT_EQ(GetSegment("a/b/c", "/", none), "");
    EXPECT_EQ(GetSegment("", "/", 0), "");
}

TEST(GetSegment, GivesTheWholeTextWithoutADelimiterForTheFirstAndTheLast) {
    EXPECT_EQ(GetSegment("abc", "/", 0), "abc");
    EXPECT_EQ(GetSegment("abc", "/", -1), "abc");
    EXPECT_EQ(GetSegment("abc", "", 0), "abc");
    EXPECT_EQ(GetSegment("abc", "", -1), "abc");
    EXPECT_EQ(GetSegment("abc", "", 1), "");
    EXPECT_EQ(GetSegment("abc", "", -2), "");
}

std::vector<std::string> Walk(View text, View delim) {
    std::vector<std::string> segments;
    for (utils::SegmentIterator i(text, delim); i.HasNext();) {
        const View segment = i.Next();
        segments.emplace_back(segment.data(), segment.size());
    }
    return segments;
}

TEST(SegmentIterator, GivesTheSegmentsInOrder) {
    EXPECT_THAT(Walk("a/b/c", "/"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(Walk("a::b:c", "::"), ElementsAre("a", "b:c"));
    EXPECT_THAT(Walk("abc", "/"), ElementsAre("abc"));
    EXPECT_THAT(Walk("/", "/"), ElementsAre("", ""));
    EXPECT_THAT(Walk("", "/"), IsEmpty());
}

TEST(SegmentIterator, GivesALastEmptySegmentBehindADelimiterAtTheEnd) {
    utils::SegmentIterator iterator("a/", "/");
    EXPECT_TRUE(iterator.HasNext());
    EXPECT_EQ(iterator.Next(), "a");
    EXPECT_TRUE(iterator.HasNext());
    EXPECT_EQ(iterator.Next(), "");
    EXPECT_FALSE(iterator.HasNext());
    EXPECT_EQ(iterator.Next(), "");
    EXPECT_FALSE(iterator.HasNext());
}

TEST(SegmentIterator, GivesNothingBehindTheLastSegment) {
    utils::SegmentIterator iterator("a/b", "/");
    iterator.Next();
    EXPECT_EQ(iterator.Next(), "b");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(iterator.Next(), "");
        EXPECT_FALSE(iterator.HasNext());
    }
}

TEST(SegmentIterator, StandsStillWithAnEmptyDelimiter) {
    const std::string text = "abc";
    utils::SegmentIterator iterator(text, "");
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(iterator.HasNext());
        const View segment = iterator.Next();
        EXPECT_TRUE(segment.empty());
        EXPECT_EQ(segment.data(), text.data());
    }
    EXPECT_TRUE(iterator.HasNext());
    EXPECT_FALSE(utils::SegmentIterator("", "").HasNext());
}

TEST(SegmentIterator, CopiesWalkOnTheirOwn) {
    utils::SegmentIterator iterator("a/b/c", "/");
    iterator.Next();
    utils::SegmentIterator copy = iterator;
    EXPECT_EQ(copy.Next(), "b");
    EXPECT_EQ(copy.Next(), "c");
    EXPECT_FALSE(copy.HasNext());
    EXPECT_EQ(iterator.Next(), "b");
}

std::string Joined(const std::vector<std::string>& segments, std::size_t first, std::size_t last, View delim) {
    std::string joined;
    for (std::size_t i = first; i < last; ++i) {
        joined.append(i == first ? "" : std::string(delim.data(), delim.size())).append(segments[i]);
    }
    return joined;
}

TEST(SegmentIterator, AgreesWithGetSegmentAndGetSegmentSeq) {
    RandomText random;
    for (int i = 0; i < 100000; ++i) {
        const std::string text = random.Make("ab/", 12);
        const std::string delim = std::vector<std::string>{"/", "//", "/a", "ab"}[random.Below(4)];
        const std::vector<std::string> segments = Walk(text, delim);
        const int count = static_cast<int>(segments.size());
        for (int index = 0; index < count; ++index) {
            const std::string& segment = segments[static_cast<std::size_t>(index)];
            ASSERT_EQ(GetSegment(text, delim, index), segment) << text << " at " << delim << ", " << index;
            const int to = index + 1 + static_cast<int>(random.Below(4));
            const int last = std::min(to, count);
            ASSERT_EQ(GetSegmentSeq(text, delim, index, to),
                      Joined(segments, static_cast<std::size_t>(index), static_cast<std::size_t>(last), delim))
                << text << " at " << delim << ", " << index << " to " << to;
            // Only "//" can overlap itself and so be counted differently from the two ends.
            if (delim != "//") {
                ASSERT_EQ(GetSegment(text, delim, index - count), segment) << text << " at " << delim << ", " << index;
            }
        }
        ASSERT_EQ(GetSegment(text, delim, count), "") << text << " at " << delim;
    }
}

}  // namespace
