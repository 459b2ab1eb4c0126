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

TEST(ParseStops, TakesBothSigns) {
    EXPECT_DOUBLE_EQ(parseStops(L"0").value(), 0);
    EXPECT_DOUBLE_EQ(parseStops(L"0.5").value(), 0.5);
    EXPECT_DOUBLE_EQ(parseStops(L"+0.25").value(), 0.25);
    EXPECT_DOUBLE_EQ(parseStops(L"-0.75").value(), -0.75);
    EXPECT_DOUBLE_EQ(parseStops(L"1").value(), 1);
    EXPECT_DOUBLE_EQ(parseStops(L"-1.000").value(), -1);
}

TEST(ParseStops, RefusesEverythingElse) {
    for (const wchar_t* text : {L"", L"-", L"+", L".5", L"1.", L"1.001", L"-1.5", L"2", L"--1",
                                L"+-1", L"0,5", L"0.5 ", L"1e-1", L"nan", L"inf", L"-inf"}) {
        EXPECT_FALSE(parseStops(text)) << testing::PrintToString(std::wstring(text));
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

TEST(ParseCutArguments, WithoutOptionsOneFileIsCopied) {
    const auto arguments = parsed({L"i", L"o", L"--keep", L"1-2"});
    ASSERT_TRUE(arguments);
    EXPECT_FALSE(arguments->separate);
    EXPECT_EQ(arguments->quality, 0);
    EXPECT_EQ(arguments->exposure, 0);
    EXPECT_EQ(arguments->parts[0].fadeIn, 0);
    EXPECT_EQ(arguments->parts[0].fadeOut, 0);
}

TEST(ParseCutArguments, QualitiesHaveTheProgramsNumbers) {
    const std::vector<std::wstring> names = {L"lossless", L"source", L"1080", L"720", L"480"};
    for (std::size_t i = 0; i < names.size(); i++) {
        const auto arguments = parsed({L"i", L"o", L"--keep", L"1-2", L"--quality", names[i]});
        ASSERT_TRUE(arguments);
        EXPECT_EQ(arguments->quality, static_cast<std::int32_t>(i));
    }
}

TEST(ParseCutArguments, RefusesAQualityThatIsNone) {
    for (const wchar_t* quality : {L"", L"0", L"1", L"360", L"1080p", L"Source", L"lossless "}) {
        EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"1-2", L"--quality", quality}),
                  std::wstring(L"--quality needs lossless, source, 1080, 720 or 480: ") + quality);
    }
    EXPECT_EQ(problemOf({L"i", L"o", L"--quality"}),
              L"--quality needs lossless, source, 1080, 720 or 480.");
}

TEST(ParseCutArguments, ExposureIsOneStopAtMost) {
    const auto darker = parsed({L"i", L"o", L"--keep", L"1-2", L"--exposure", L"-0.5"});
    ASSERT_TRUE(darker);
    EXPECT_DOUBLE_EQ(darker->exposure, -0.5);
    EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"1-2", L"--exposure", L"1.1"}),
              L"--exposure needs stops from -1 to 1: 1.1");
    EXPECT_EQ(problemOf({L"i", L"o", L"--exposure"}), L"--exposure needs stops from -1 to 1.");
}

TEST(ParseCutArguments, FadesGoToTheirParts) {
    const auto arguments =
        parsed({L"i", L"o", L"--fade-out", L"2:0.5", L"--keep", L"1-2", L"--keep", L"3-5",
                L"--fade-in", L"1:1", L"--fade-in", L"2:1.5"});
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->parts, (std::vector<KeptPart>{{1, 2, 1, 0}, {3, 5, 1.5, 0.5}}));
}

TEST(ParseCutArguments, RefusesAFadeThatCannotBeOne) {
    for (const wchar_t* fade : {L"", L"1", L"1:", L":1", L"0:1", L"-1:1", L"a:1", L"1:a", L"1:-1",
                                L"1.5:1", L"1:0.05", L"1:0.02", L"1-1"}) {
        EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"1-9", L"--fade-in", fade}),
                  std::wstring(L"--fade-in needs PART:SECONDS, of more than 0.05 seconds: ") +
                      fade);
    }
    EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"1-9", L"--fade-out", L"2:1"}),
              L"--fade-out names a part that isn't kept: part 2");
    EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"1-9", L"--fade-out", L"999999999999:1"}),
              L"--fade-out names a part that isn't kept: part 999999999999");
    EXPECT_TRUE(parsed({L"i", L"o", L"--keep", L"1-9", L"--fade-in", L"1:0"})); // none
}

TEST(ParseCutArguments, FadesFitIntoTheirPart) {
    EXPECT_TRUE(parsed({L"i", L"o", L"--keep", L"1-2", L"--fade-in", L"1:1"}));
    EXPECT_TRUE(parsed(
        {L"i", L"o", L"--keep", L"0.1-0.4", L"--fade-in", L"1:0.1", L"--fade-out", L"1:0.2"}));
    EXPECT_EQ(problemOf({L"i", L"o", L"--keep", L"0-9", L"--keep", L"1-2", L"--fade-in", L"2:1.5"}),
              L"The fades of part 2 are longer than the part: 00:01.500 in 00:01.000");
    EXPECT_EQ(
        problemOf({L"i", L"o", L"--keep", L"1-2", L"--fade-in", L"1:0.6", L"--fade-out", L"1:0.6"}),
        L"The fades of part 1 are longer than the part: 00:01.200 in 00:01.000");
    // How long it is isn't known yet.
    EXPECT_TRUE(parsed({L"i", L"o", L"--keep", L"1-", L"--fade-in", L"1:99"}));
}

TEST(ParseCutArguments, AFolderTakesTheOutputsPlace) {
    const auto arguments = parsed({L"i", L"--separate", L"clips", L"--keep", L"1-2"});
    ASSERT_TRUE(arguments);
    EXPECT_TRUE(arguments->separate);
    EXPECT_EQ(arguments->output, L"clips");
    EXPECT_EQ(problemOf({L"i", L"o", L"--separate", L"clips", L"--keep", L"1-2"}),
              L"With --separate no output file is named: o");
    EXPECT_EQ(problemOf({L"i", L"--separate"}), L"--separate needs a folder.");
    EXPECT_EQ(problemOf({L"i", L"--separate", L""}), L"--separate needs a folder: ");
    EXPECT_EQ(problemOf({L"--separate", L"clips", L"--keep", L"1-2"}), L"No input file is named.");
}

TEST(ParseCutArguments, FadesAreNeverLeftOut) {
    const std::vector<std::wstring> words = {L"i",   L"--separate", L"clips", L"--keep",
                                             L"1-3", L"--fade-in",  L"1:1"};
    EXPECT_EQ(problemOf(words), L"Separate files are copied without their fades at quality "
                                L"lossless; to render them give --quality source.");
    const auto with = [&](const wchar_t* option, const wchar_t* value) {
        std::vector<std::wstring> more = words;
        more.insert(more.end(), {option, value});
        return parsed(more);
    };
    EXPECT_TRUE(with(L"--quality", L"source"));
    EXPECT_TRUE(with(L"--quality", L"480"));
    EXPECT_TRUE(with(L"--exposure", L"0.5")); // they are encoded in any case
    EXPECT_FALSE(with(L"--exposure", L"0"));
}

TEST(ParseCutArguments, WhatCanBeOnceIsGivenOnce) {
    EXPECT_EQ(problemOf({L"i", L"o", L"--quality", L"720", L"--quality", L"720"}),
              L"--quality is given twice.");
    EXPECT_EQ(problemOf({L"i", L"o", L"--exposure", L"0", L"--exposure", L"1"}),
              L"--exposure is given twice.");
    EXPECT_EQ(problemOf({L"i", L"--separate", L"a", L"--separate", L"b"}),
              L"--separate is given twice.");
    EXPECT_EQ(
        problemOf({L"i", L"o", L"--keep", L"1-9", L"--fade-in", L"1:1", L"--fade-in", L"1:2"}),
        L"--fade-in is given twice for part 1.");
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

TEST(SpansOf, CarryTheirFades) {
    std::wstring problem;
    const auto spans = spansOf({{1, std::nullopt, 2, 0}, {3, 5, 0, 1}}, 10, problem);
    ASSERT_TRUE(spans);
    EXPECT_DOUBLE_EQ((*spans)[0].fadeIn, 2);
    EXPECT_DOUBLE_EQ((*spans)[0].fadeOut, 0);
    EXPECT_DOUBLE_EQ((*spans)[1].fadeOut, 1);
}

TEST(SpansOf, FadesFitIntoAPartThatRunsToTheEnd) {
    std::wstring problem;
    EXPECT_TRUE(spansOf({{1, std::nullopt, 9, 0}}, 10, problem));
    EXPECT_FALSE(spansOf({{1, 2, 0, 0}, {1, std::nullopt, 5, 4.5}}, 10, problem));
    EXPECT_EQ(problem, L"The fades of part 2 are longer than the part: 00:09.500 in 00:09.000");
}

} // namespace
} // namespace velkantrix
