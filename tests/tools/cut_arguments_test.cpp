#include "tools/velkantrix-cut/cut_arguments.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

std::optional<CutArguments> parsed(const std::vector<std::wstring>& words) {
    std::wstring problem;
    return parseCutArguments(words, problem);
}

std::wstring problemOf(const std::vector<std::wstring>& words) {
    std::wstring problem;
    EXPECT_FALSE(parseCutArguments(words, problem));
    return problem;
}

TEST(ParseTime, TakesSecondsAndClockTimes) {
    EXPECT_DOUBLE_EQ(parseTime(L"0").value(), 0);
    EXPECT_DOUBLE_EQ(parseTime(L"12").value(), 12);
    EXPECT_DOUBLE_EQ(parseTime(L"12.5").value(), 12.5);
    EXPECT_DOUBLE_EQ(parseTime(L"90").value(), 90);
    EXPECT_DOUBLE_EQ(parseTime(L"3:07.250").value(), 187.25);
    EXPECT_DOUBLE_EQ(parseTime(L"01:02:03.5").value(), 3723.5);
    EXPECT_DOUBLE_EQ(parseTime(L"75:00").value_or(-1), 4500);
    EXPECT_DOUBLE_EQ(parseTime(L"1000:00:00").value(), 3'600'000);
}

TEST(ParseTime, RefusesEverythingElse) {
    for (const wchar_t* text : {L"",
                                L".",
                                L".5",
                                L"1.",
                                L"1:",
                                L":1",
                                L"1:60",
                                L"1:60:00",
                                L"1:2:3:4",
                                L"1,5",
                                L"1e3",
                                L"+1",
                                L"-1",
                                L" 1",
                                L"1 ",
                                L"inf",
                                L"nan",
                                L"0x10",
                                L"1:2.5:3",
                                L"1000:00:01",
                                L"1000:00:00.1",
                                L"99999999999999",
                                L"0.0000000000001"}) {
        EXPECT_FALSE(parseTime(text)) << testing::PrintToString(std::wstring(text));
    }
}

TEST(ParseCutArguments, TakesFilesAndParts) {
    const auto arguments =
        parsed({L"in.mp4", L"out.mp4", L"--keep", L"1-2", L"--keep", L"1:00-1:30.5"});
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->input, L"in.mp4");
    EXPECT_EQ(arguments->output, L"out.mp4");
    EXPECT_EQ(arguments->parts, (std::vector<KeptPart>{{1, 2}, {60, 90.5}}));
    EXPECT_FALSE(arguments->json);
}

TEST(ParseCutArguments, EndsMayBeOpen) {
    const auto arguments =
        parsed({L"i", L"o", L"--keep", L"-2", L"--keep", L"3-", L"--keep", L"-"});
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->parts, (std::vector<KeptPart>{{std::nullopt, 2}, {3, std::nullopt}, {}}));
}

TEST(ParseCutArguments, OptionsMayStandAnywhere) {
    const auto arguments = parsed({L"--keep", L"1-2", L"--json", L"i", L"o"});
    ASSERT_TRUE(arguments);
    EXPECT_TRUE(arguments->json);
    EXPECT_EQ(arguments->output, L"o");
}

TEST(ParseCutArguments, AfterTwoDashesAWordIsAFile) {
    const auto arguments = parsed({L"--keep", L"1-2", L"--", L"--json", L"-"});
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->input, L"--json");
    EXPECT_EQ(arguments->output, L"-");
    EXPECT_FALSE(arguments->json);
}

TEST(ParseCutArguments, HelpAndVersionNeedNothingElse) {
    EXPECT_TRUE(parsed({L"--help"})->help);
    EXPECT_TRUE(parsed({L"-h"})->help);
    EXPECT_TRUE(parsed({L"--version"})->version);
}

TEST(ParseCutArguments, SaysWhatIsMissing) {
    EXPECT_EQ(problemOf({}), L"No input file is named.");
    EXPECT_EQ(problemOf({L"i"}), L"No output file is named.");
    EXPECT_EQ(problemOf({L"i", L"o"}), L"Nothing to keep: give --keep START-END at least once.");
}

TEST(ParseCutArguments, SaysWhatIsWrong) {
    EXPECT_EQ(problemOf({L"i", L"o", L"x"}), L"One file too many: x");
    EXPECT_EQ(problemOf({L"i", L""}), L"A file's name is empty.");
    EXPECT_EQ(problemOf({L"i", L"o", L"--fast"}), L"Unknown option: --fast");
    EXPECT_EQ(problemOf({L"i", L"o", L"--keep"}),
              L"--keep needs START-END, in seconds or hh:mm:ss.mmm.");
    for (const wchar_t* part : {L"5", L"a-b", L"1-2-3", L"1 - 2", L"1--2"}) {
        EXPECT_EQ(problemOf({L"i", L"o", L"--keep", part}),
                  std::wstring(L"--keep needs START-END, in seconds or hh:mm:ss.mmm: ") + part);
    }
}

TEST(ParseCutArguments, RefusesAPartThatCannotBeOne) {
    EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"5-2"}),
              L"A part must begin before it ends: 00:05.000 to 00:02.000");
    EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"-0"}),
              L"A part must begin before it ends: 00:00.000 to 00:00.000");
    EXPECT_TRUE(parsed({L"i", L"o", L"--keep", L"99-"})); // how long the source is isn't known yet
}

TEST(SpansOf, OpenEndsBecomeTheSourcesOwn) {
    std::wstring problem;
    const auto spans = spansOf({{std::nullopt, 2}, {3, std::nullopt}, {}}, 10, problem);
    ASSERT_TRUE(spans);
    ASSERT_EQ(spans->size(), 3u);
    EXPECT_DOUBLE_EQ((*spans)[0].start, 0);
    EXPECT_DOUBLE_EQ((*spans)[0].end, 2);
    EXPECT_DOUBLE_EQ((*spans)[1].start, 3);
    EXPECT_DOUBLE_EQ((*spans)[1].end, 10);
    EXPECT_DOUBLE_EQ((*spans)[2].end, 10);
}

TEST(SpansOf, APartMustBeginBeforeItEnds) {
    std::wstring problem;
    EXPECT_FALSE(spansOf({{2, 2}}, 10, problem));
    EXPECT_EQ(problem, L"A part must begin before it ends: 00:02.000 to 00:02.000");
    EXPECT_FALSE(spansOf({{11, std::nullopt}}, 10, problem));
    EXPECT_EQ(problem,
              L"A part begins behind the end of the video: 00:11.000, and it ends at 00:10.000");
}

TEST(CutUsage, NamesEveryOption) {
    for (const wchar_t* option : {L"--keep", L"--json", L"--version", L"--help"}) {
        EXPECT_NE(cutUsage().find(option), std::wstring::npos);
    }
}

} // namespace
} // namespace velkantrix
