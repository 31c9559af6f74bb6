#include "CmdLineOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
using Words = std::vector<std::string>;

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
    EXPECT_EQ(2, Parse(options, {"stray", "-output", "a", "b", "-autostart", "c"}));
    EXPECT_EQ((Words{"a", "b"}), options.Values("output"));
    EXPECT_EQ((Words{"c"}), options.Values("autostart"));
    EXPECT_FALSE(options.Find("stray"));

    EXPECT_EQ(2, Parse(options, {"-output", "-autostart"}));
    EXPECT_TRUE(options.Find("output"));
    EXPECT_TRUE(options.Values("output").empty());

    EXPECT_EQ(0, Parse(options, {"a", "b"}));
    EXPECT_EQ(0, Parse(options, {"-"}));
    EXPECT_FALSE(options.Find("-"));
    EXPECT_FALSE(options.Find("output")) << "a new parse starts empty";
}

TEST(CmdLineOptionsTest, PrefixFollowedByDigitIsAValue)
{
    CmdLineOptions options;
    EXPECT_EQ(1, Parse(options, {"-x", "-5"}));
    EXPECT_EQ((Words{"-5"}), options.Values("x"));
    EXPECT_EQ(0, Parse(options, {"-5"}));
    EXPECT_EQ(2, Parse(options, {"-x", "-0", "-9", "-a9"}));
    EXPECT_EQ((Words{"-0", "-9"}), options.Values("x"));
}

TEST(CmdLineOptionsTest, FirstOccurrenceOfAnOptionWins)
{
    CmdLineOptions options;
    EXPECT_EQ(1, Parse(options, {"-Output", "a", "-OUTPUT", "b"}));
    EXPECT_EQ((Words{"a"}), options.Values("output"));
    // Later plain words go to the option of that name, which is the first one.
    EXPECT_EQ(1, Parse(options, {"-output", "a", "-OUTPUT", "b", "c"}));
    EXPECT_EQ((Words{"a", "c"}), options.Values("OUTPUT"));
}

TEST(CmdLineOptionsTest, CaseFoldingAppliesToStoringAndLookingUp)
{
    CmdLineOptions folded;
    EXPECT_EQ(1, Parse(folded, {"-oUtPuT", "x.html"}));
    for (const char* key : {"output", "OUTPUT", "-output", "-Output"})
        EXPECT_EQ((Words{"x.html"}), folded.Values(key)) << key;
    EXPECT_EQ(1, Parse(folded, {"-?"}));
    EXPECT_TRUE(folded.Find("?"));

    CmdLineOptions exact;
    EXPECT_EQ(2, Parse(exact, {"-Output", "a", "-output", "b"}, false));
    EXPECT_EQ((Words{"a"}), exact.Values("Output"));
    EXPECT_EQ((Words{"b"}), exact.Values("-output"));
    EXPECT_FALSE(exact.Find("OUTPUT"));

    CmdLineOptions slashes("-/");
    EXPECT_EQ(2, Parse(slashes, {"/help", "-v", "3"}));
    EXPECT_TRUE(slashes.Find("help"));
    EXPECT_EQ((Words{"3"}), slashes.Values("/v"));
}

TEST(CmdLineOptionsTest, ProgramNameAndDegenerateInput)
{
    CmdLineOptions options;
    Parse(options, {}, true, "/opt/tools/bin/HostCapture");
    EXPECT_EQ("HostCapture", options.ProgramName());
    Parse(options, {}, true, "HostCapture2");
    EXPECT_EQ("HostCapture2", options.ProgramName());

    EXPECT_EQ(0, options.Parse(0, nullptr, true));
    const char* withNulls[] = {nullptr, "-a", nullptr, "b", nullptr};
    EXPECT_EQ(1, options.Parse(5, withNulls, true));
    EXPECT_EQ((Words{"b"}), options.Values("a"));
}
