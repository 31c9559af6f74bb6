#include "CCancellation.h"
#include "Clock.h"
#include "StopSignals.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
using StopSignals::Response;

class StopSignalsTest : public ::testing::Test
{
protected:
    void SetUp() override { CCancellation::Clear(); }
    void TearDown() override { CCancellation::Clear(); }

    CFakeClock m_Clock;
    CScopedClock m_Installed{m_Clock};
};

const char* Name(Response response)
{
    switch (response)
    {
    case Response::StopRun:
        return "stop the run";
    case Response::SameRequest:
        return "same request";
    case Response::EndNow:
        return "end now";
    }
    return "?";
}
} // namespace

// `timeout` sends its signal to the program and again to the process group: a repeat within
// half a second of the first signal is the same request; from half a second on it ends the
// program. The window is counted from the first signal, not from the last repeat.
TEST_F(StopSignalsTest, RepeatsWithinHalfASecondOfTheFirstAreTheSameRequest)
{
    struct Step
    {
        uint64_t AfterMs; // since the step before
        int Signal;
        Response Expected;
    };
    struct Case
    {
        const char* Name;
        std::vector<Step> Steps;
    };
    const Case cases[] = {
        {"repeat at once", {{0, SIGTERM, Response::StopRun}, {0, SIGTERM, Response::SameRequest}}},
        {"repeat just inside", {{0, SIGTERM, Response::StopRun}, {499, SIGTERM, Response::SameRequest}}},
        {"repeat at the end", {{0, SIGTERM, Response::StopRun}, {500, SIGTERM, Response::EndNow}}},
        {"repeat just outside", {{0, SIGINT, Response::StopRun}, {501, SIGINT, Response::EndNow}}},
        {"Ctrl-C after timeout's signal",
         {{0, SIGTERM, Response::StopRun}, {2000, SIGINT, Response::EndNow}}},
        {"counted from the first",
         {{0, SIGTERM, Response::StopRun},
          {300, SIGTERM, Response::SameRequest},
          {199, SIGTERM, Response::SameRequest},
          {1, SIGTERM, Response::EndNow}}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        CCancellation::Clear();
        m_Clock.AdvanceMs(10000); // the run had been going for a while
        for (size_t i = 0; i < c.Steps.size(); ++i)
        {
            m_Clock.AdvanceMs(c.Steps[i].AfterMs);
            const Response response = StopSignals::Receive(c.Steps[i].Signal);
            EXPECT_EQ(response, c.Steps[i].Expected) << "step " << i << ": " << Name(response);
        }
    }
}

TEST_F(StopSignalsTest, TheFirstSignalGivesTheExitStatus)
{
    EXPECT_EQ(StopSignals::ExitStatus(), 0) << "a run that no signal stopped";
    StopSignals::Receive(SIGTERM);
    StopSignals::Receive(SIGINT);
    EXPECT_EQ(StopSignals::ExitStatus(), 143);
    EXPECT_TRUE(CCancellation::IsRequested());

    CCancellation::Clear();
    StopSignals::Receive(SIGINT);
    EXPECT_EQ(StopSignals::ExitStatus(), 130);
}

// The installed handler acts on the response: the first signal and a repeat within the window
// leave the program running, a signal after the window ends it as the signal's default would.
// Each case runs in a child process of its own.
using StopSignalsDeathTest = StopSignalsTest;

TEST_F(StopSignalsDeathTest, TheInstalledHandlerEndsTheProgramOnlyOutsideTheWindow)
{
    const auto signalTwice = [this](int signalNumber, uint64_t apartMs)
    {
        if (!StopSignals::Install())
            _exit(2);
        raise(signalNumber);
        m_Clock.AdvanceMs(apartMs);
        raise(signalNumber);
        _exit(CCancellation::Signal() == signalNumber ? 0 : 3);
    };
    EXPECT_EXIT(signalTwice(SIGTERM, 499), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(signalTwice(SIGTERM, 500), ::testing::KilledBySignal(SIGTERM), "");
    EXPECT_EXIT(signalTwice(SIGINT, 0), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(signalTwice(SIGINT, 5000), ::testing::KilledBySignal(SIGINT), "");
}
