#include "MetricsWriter.h"

#include "TestEnv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

TEST(MetricsWriter, FamiliesOnceEachWithTheirSamplesTogetherAndHostFirst)
{
    MetricsWriter writer;
    auto state = writer.Declare("hostcapture_member_state", "State of a member.");
    auto unused = writer.Declare("hostcapture_unused", "No samples.");
    auto celsius = writer.Declare("hostcapture_temperature_celsius", "Temperature.\nSecond line \\ here.");
    (void)unused;
    // Samples arrive host by host, families interleaved; the file groups them by family.
    writer.BeginCollection("zulu");
    writer.Sample(celsius, {{"member", "CPU1"}}, 52);
    writer.Sample(state, {{"member", "CPU1"}}, 0);
    writer.BeginCollection("alpha");
    writer.Sample(state, {{"member", "PSU2"}}, 2);
    writer.Sample(state, {{"member", "PSU2"}}, 1); // the same series again: dropped
    writer.Sample(celsius, {{"member", "CPU1"}}, std::nan(""));
    EXPECT_EQ(writer.Text(), "# HELP hostcapture_member_state State of a member.\n"
                             "# TYPE hostcapture_member_state gauge\n"
                             "hostcapture_member_state{host=\"alpha\",member=\"PSU2\"} 2\n"
                             "hostcapture_member_state{host=\"zulu\",member=\"CPU1\"} 0\n"
                             "# HELP hostcapture_temperature_celsius Temperature.\\nSecond line \\\\ here.\n"
                             "# TYPE hostcapture_temperature_celsius gauge\n"
                             "hostcapture_temperature_celsius{host=\"alpha\",member=\"CPU1\"} NaN\n"
                             "hostcapture_temperature_celsius{host=\"zulu\",member=\"CPU1\"} 52\n");

    // A collection begun again (a newer page of the same host) replaces all it had.
    writer.BeginCollection("zulu");
    writer.Sample(state, {{"member", "CPU2"}}, 1);
    std::string text = writer.Text();
    EXPECT_EQ(text.find("zulu\",member=\"CPU1\""), std::string::npos) << text;
    EXPECT_NE(text.find("hostcapture_member_state{host=\"zulu\",member=\"CPU2\"} 1\n"), std::string::npos);
}

TEST(MetricsWriter, LabelValuesAreEscapedRepairedAndBounded)
{
    struct Case
    {
        const char* Name;
        std::string Value;
        std::string Quoted;
    };
    const std::string euro = "\xE2\x82\xAC"; // three bytes
    const std::string longText = std::string(251, 'a') + euro + euro + "tail";
    const Case cases[] = {
        {"plain", "PSU 1", "\"PSU 1\""},
        {"backslash, quote, line feed", "a\\b\"c\nd", "\"a\\\\b\\\"c\\nd\""},
        {"ill-formed UTF-8 becomes U+FFFD", "x\xFFy", "\"x\xEF\xBF\xBDy\""},
        // 256 bytes at most: "..." after whole characters only (253 bytes would end inside the euro).
        {"long", longText, "\"" + std::string(251, 'a') + "...\""},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        EXPECT_EQ(MetricsWriter::QuoteLabel(c.Value), c.Quoted);
    }
    std::string bounded = MetricsWriter::QuoteLabel(std::string(1000, 'b'));
    EXPECT_EQ(bounded.size(), MetricsWriter::kMaxLabelBytes + 2);
}

TEST(MetricsWriter, ValuesInTheCLocaleAndPlainDigitsForWholeNumbers)
{
    const struct
    {
        double Value;
        const char* Text;
    } cases[] = {
        {0, "0"},
        {12.05, "12.05"},
        {-7, "-7"},
        {2.9e9, "2900000000"},
        {549755813888.0, "549755813888"},
        {0.1, "0.1"},
        {1e300, "1e+300"},
        {std::nan(""), "NaN"},
        {HUGE_VAL, "+Inf"},
        {-HUGE_VAL, "-Inf"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(MetricsWriter::FormatValue(c.Value), c.Text) << c.Text;
}

TEST(MetricsWriter, FileIsReplacedWholeWithoutFollowingALinkAndNothingIsLeftBeside)
{
    TempDir dir;
    MetricsWriter writer;
    auto family = writer.Declare("hostcapture_page_readable", "Readable.");
    writer.BeginCollection("alpha");
    writer.Sample(family, {}, 1);

    std::string victim = dir.Write("victim.txt", "keep me");
    std::string path = dir.Path() + "/textfiles/hostcapture.prom";
    MakeDirs(dir.Path() + "/textfiles");
    ASSERT_EQ(symlink(victim.c_str(), path.c_str()), 0);
    std::string error;
    ASSERT_TRUE(writer.WriteFile(path, error)) << error;
    EXPECT_EQ(ReadFile(victim), "keep me");
    EXPECT_EQ(ReadFile(path), writer.Text());
    struct stat st;
    ASSERT_EQ(lstat(path.c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(st.st_mode & 07777, 0644u);

    // Written again over its own file: one entry in the folder, no temporary file beside it.
    ASSERT_TRUE(writer.WriteFile(path, error)) << error;
    DIR* folder = opendir((dir.Path() + "/textfiles").c_str());
    ASSERT_NE(folder, nullptr);
    std::vector<std::string> names;
    while (dirent* entry = readdir(folder))
        if (std::string(entry->d_name) != "." && std::string(entry->d_name) != "..")
            names.push_back(entry->d_name);
    closedir(folder);
    EXPECT_EQ(names, std::vector<std::string>{"hostcapture.prom"});

    // A folder that does not exist: a reason, and nothing created.
    EXPECT_FALSE(writer.WriteFile(dir.Path() + "/missing/hostcapture.prom", error));
    EXPECT_NE(error.find("missing/hostcapture.prom"), std::string::npos) << error;
    EXPECT_NE(access((dir.Path() + "/missing").c_str(), F_OK), 0);
}
