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

TEST(CmdLineOptionsTest, WordsGoToTheFirstOptionOfTheirNameWhateverTheCase)
{
    struct Case
    {
        Words words;
        int count;
        const char* option; // looked up in another spelling than it was given in
        Words values;
    };
    const Case cases[] = {
        {{"stray", "-output", "a", "b", "-autostart", "c"}, 2, "OUTPUT", {"a", "b"}},
        {{"-output", "-autostart"}, 2, "-Output", {}},
        {{"-x", "-0", "-9", "-a9"}, 2, "x", {"-0", "-9"}}, // a prefix and a digit make a value
        {{"-Output", "a", "-OUTPUT", "b", "c"}, 1, "output", {"a", "c"}},
        {{"-?"}, 1, "?", {}},
    };
    CmdLineOptions options;
    for (const Case& c : cases)
    {
        EXPECT_EQ(c.count, Parse(options, c.words)) << c.words[0];
        EXPECT_TRUE(options.Find(c.option)) << c.words[0];
        EXPECT_EQ(c.values, options.Values(c.option)) << c.words[0];
    }
    for (const Words& none : {Words{"a", "b"}, Words{"-"}, Words{"-5"}})
        EXPECT_EQ(0, Parse(options, none)) << none[0];
    EXPECT_FALSE(options.Find("output")) << "a new parse starts empty";
}

TEST(CmdLineOptionsTest, ExactCaseOtherPrefixesAndDegenerateInput)
{
    CmdLineOptions exact;
    EXPECT_EQ(2, Parse(exact, {"-Output", "a", "-output", "b"}, false));
    EXPECT_EQ((Words{"b"}), exact.Values("-output"));
    EXPECT_FALSE(exact.Find("OUTPUT"));

    CmdLineOptions slashes("-/");
    EXPECT_EQ(2, Parse(slashes, {"/help", "-v", "3"}));
    EXPECT_TRUE(slashes.Find("help"));
    EXPECT_EQ((Words{"3"}), slashes.Values("/v"));

    Parse(exact, {}, true, "/opt/tools/bin/HostCapture2");
    EXPECT_EQ("HostCapture2", exact.ProgramName());
    EXPECT_EQ(0, exact.Parse(0, nullptr, true));
    const char* withNulls[] = {nullptr, "-a", nullptr, "b", nullptr};
    EXPECT_EQ(1, exact.Parse(5, withNulls, true));
    EXPECT_EQ((Words{"b"}), exact.Values("a"));
}
