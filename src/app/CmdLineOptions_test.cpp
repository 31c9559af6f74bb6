#include "CmdLineOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
using Words = std::vector<std::string>;

// Parses "HostCapture" followed by the given words.
int Parse(CmdLineOptions& options, const Words& words, bool caseInsensitive = true,
          const char* program = "/usr/bin/HostCapture")
{
    std::vector<const char*> argv = {program};
    for (const std::string& word : words)
        argv.push_back(word.c_str());
    return options.Parse(static_cast<int>(argv.size()), argv.data(), caseInsensitive);
}
} // namespace

TEST(CmdLineOptionsTest, OptionCollectsFollowingWordsUntilTheNextOption)
{
    CmdLineOptions options;
    EXPECT_EQ(2, Parse(options, {"-output", "a", "b", "-autostart", "c"}));
    EXPECT_EQ((Words{"a", "b"}), options.Values("output"));
    EXPECT_EQ((Words{"c"}), options.Values("autostart"));

    EXPECT_EQ(2, Parse(options, {"-output", "-autostart"}));
    EXPECT_TRUE(options.Find("output"));
    EXPECT_TRUE(options.Values("output").empty());
    EXPECT_TRUE(options.Find("autostart"));
}

TEST(CmdLineOptionsTest, PlainWordsAloneAreNotOptions)
{
    CmdLineOptions options;
    EXPECT_EQ(0, Parse(options, {"a", "b"}));
    EXPECT_FALSE(options.Find("a"));
    EXPECT_TRUE(options.Values("a").empty());

    // A lone prefix is a plain word, and with no option before it, it is dropped.
    EXPECT_EQ(0, Parse(options, {"-"}));
    EXPECT_FALSE(options.Find("-"));
    EXPECT_FALSE(options.Find(""));

    // Words before the first option belong to nothing.
    EXPECT_EQ(1, Parse(options, {"stray", "-x", "value"}));
    EXPECT_EQ((Words{"value"}), options.Values("x"));
}

TEST(CmdLineOptionsTest, PrefixFollowedByDigitIsAValue)
{
    CmdLineOptions options;
    EXPECT_EQ(1, Parse(options, {"-x", "-5"}));
    EXPECT_EQ((Words{"-5"}), options.Values("x"));
    EXPECT_FALSE(options.Find("5"));

    EXPECT_EQ(0, Parse(options, {"-5"}));
    EXPECT_EQ(2, Parse(options, {"-x", "-0", "-9", "-a9"}));
    EXPECT_EQ((Words{"-0", "-9"}), options.Values("x"));
    EXPECT_TRUE(options.Find("A9"));
}

TEST(CmdLineOptionsTest, FirstOccurrenceOfAnOptionWins)
{
    CmdLineOptions options;
    EXPECT_EQ(1, Parse(options, {"-Output", "a", "-OUTPUT", "b"}));
    EXPECT_EQ((Words{"a"}), options.Values("output"));

    // Later plain words still go to the option of that name, which is the first one.
    EXPECT_EQ(1, Parse(options, {"-output", "a", "-OUTPUT", "b", "c"}));
    EXPECT_EQ((Words{"a", "c"}), options.Values("OUTPUT"));
}

TEST(CmdLineOptionsTest, CaseFoldingAppliesToStoringAndLookingUp)
{
    CmdLineOptions folded;
    EXPECT_EQ(1, Parse(folded, {"-oUtPuT", "x.html"}));
    for (const char* key : {"output", "OUTPUT", "-output", "-Output", "OutPut"})
        EXPECT_TRUE(folded.Find(key)) << key;
    EXPECT_EQ((Words{"x.html"}), folded.Values("-OUTPUT"));
    EXPECT_FALSE(folded.Find("outputs"));
    EXPECT_FALSE(folded.Find("-"));

    CmdLineOptions exact;
    EXPECT_EQ(2, Parse(exact, {"-Output", "a", "-output", "b"}, false));
    EXPECT_EQ((Words{"a"}), exact.Values("Output"));
    EXPECT_EQ((Words{"b"}), exact.Values("-output"));
    EXPECT_FALSE(exact.Find("OUTPUT"));

    // The help key has no case and must be found either way.
    EXPECT_EQ(1, Parse(folded, {"-?"}));
    EXPECT_TRUE(folded.Find("?"));
    EXPECT_TRUE(folded.Find("-?"));
}

TEST(CmdLineOptionsTest, OtherPrefixCharactersIntroduceOptionsToo)
{
    CmdLineOptions options("-/");
    EXPECT_EQ(2, Parse(options, {"/help", "-v", "3"}));
    EXPECT_TRUE(options.Find("/help"));
    EXPECT_TRUE(options.Find("help"));
    EXPECT_EQ((Words{"3"}), options.Values("/v"));

    CmdLineOptions dashOnly;
    EXPECT_EQ(0, Parse(dashOnly, {"/help"}));
}

TEST(CmdLineOptionsTest, ProgramNameAndReuseAndDegenerateInput)
{
    CmdLineOptions options;
    Parse(options, {"-x"}, true, "/opt/tools/bin/HostCapture");
    EXPECT_EQ("HostCapture", options.ProgramName());
    Parse(options, {}, true, "HostCapture2");
    EXPECT_EQ("HostCapture2", options.ProgramName());
    EXPECT_FALSE(options.Find("x")) << "a new parse starts empty";
    Parse(options, {}, true, "/ends/with/");
    EXPECT_EQ("", options.ProgramName());

    EXPECT_EQ(0, options.Parse(0, nullptr, true));
    const char* withNulls[] = {nullptr, "-a", nullptr, "b", nullptr};
    EXPECT_EQ(1, options.Parse(5, withNulls, true));
    EXPECT_EQ((Words{"b"}), options.Values("a"));
}
