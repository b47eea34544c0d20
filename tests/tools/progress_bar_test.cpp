#include "progress_bar.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <sstream>

using testing::EndsWith;
using testing::IsEmpty;

namespace {

std::chrono::steady_clock::time_point g_Now;
int g_IsTerminal = 1;

/// What is written to stderr meanwhile.
class ProgressBarTest : public testing::Test {
protected:
    ProgressBarTest() : m_Former(std::cerr.rdbuf(m_Shown.rdbuf())) { g_IsTerminal = 1; }
    ~ProgressBarTest() override { std::cerr.rdbuf(m_Former); }

    std::ostringstream m_Shown;

private:
    std::streambuf* m_Former;
};

}  // namespace

extern "C" int __wrap_isatty(int);
extern "C" int __wrap_isatty(int) {
    return g_IsTerminal;
}

extern "C" std::chrono::steady_clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv();
extern "C" std::chrono::steady_clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
    return g_Now;
}

TEST_F(ProgressBarTest, TellsTheTimeLeft) {
    ProgressBar bar("reading", 1000);
    bar.Advance(0);
    EXPECT_THAT(m_Shown.str(), EndsWith("\rreading [........................................] 0%"));
    g_Now += std::chrono::seconds(10);
    bar.Advance(100);
    EXPECT_THAT(m_Shown.str(), EndsWith("\rreading [####....................................] 10%, 1:30 left"));
    g_Now += std::chrono::seconds(54);
    bar.Advance(800);
    EXPECT_THAT(m_Shown.str(), EndsWith("\rreading [####################################....] 90%, 0:07 left"));
    bar.Advance(95);
    EXPECT_THAT(m_Shown.str(), EndsWith("\rreading [#######################################.] 99%"));
    bar.Advance(50);
    EXPECT_THAT(m_Shown.str(), EndsWith("\rreading [########################################] 100%"));
}

TEST_F(ProgressBarTest, IsWipedWhenItGoes) {
    ProgressBar("reading", 10).Advance(5);
    EXPECT_THAT(m_Shown.str(), EndsWith("50%\r\033[K"));
}

TEST_F(ProgressBarTest, ShowsOnATerminalOnly) {
    g_IsTerminal = 0;
    ProgressBar("reading", 10).Advance(5);
    EXPECT_THAT(m_Shown.str(), IsEmpty());
}

TEST_F(ProgressBarTest, ShowsOnlyWhereItIsWanted) {
    ProgressBar("reading", 10, false).Advance(5);
    EXPECT_THAT(m_Shown.str(), IsEmpty());
}
