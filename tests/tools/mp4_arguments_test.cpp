#include "tools/velkantrix-mp4/mp4_arguments.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

NativeText native(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

std::vector<NativeText> nativeWords(const std::vector<std::string>& words) {
    std::vector<NativeText> all;
    for (const std::string& word : words) all.push_back(native(word));
    return all;
}

std::optional<Mp4Arguments> parsed(const std::vector<std::string>& words) {
    std::string problem;
    return parseMp4Arguments(nativeWords(words), problem);
}

std::string problemOf(const std::vector<std::string>& words) {
    std::string problem;
    EXPECT_FALSE(parseMp4Arguments(nativeWords(words), problem));
    return problem;
}

TEST(ParseMp4Arguments, AFileAloneAsksForNothingMore) {
    const auto arguments = parsed({"a.mp4"});
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->file, native("a.mp4"));
    EXPECT_FALSE(arguments->samples);
    EXPECT_FALSE(arguments->claim);
    EXPECT_FALSE(arguments->keyframeSeconds);
}

TEST(ParseMp4Arguments, TheClaimIsAnOptionOfItsOwn) {
    const auto arguments = parsed({"--claim", "a.mp4"});
    ASSERT_TRUE(arguments);
    EXPECT_TRUE(arguments->claim);
    EXPECT_FALSE(arguments->samples);
}

TEST(ParseMp4Arguments, OptionsStandAnywhere) {
    for (const std::vector<std::string>& words : {
             std::vector<std::string>{"a.mp4", "--samples", "--keyframe", "1.5"},
             {"--keyframe", "1.5", "a.mp4", "--samples"},
             {"--samples", "--keyframe", "1.5", "a.mp4"},
             {"--samples", "--keyframe", "1.5", "--", "a.mp4"},
         }) {
        const auto arguments = parsed(words);
        ASSERT_TRUE(arguments) << testing::PrintToString(words);
        EXPECT_EQ(arguments->file, native("a.mp4"));
        EXPECT_TRUE(arguments->samples);
        EXPECT_EQ(arguments->keyframeSeconds, 1.5);
    }
}

TEST(ParseMp4Arguments, BehindTwoDashesEverythingIsAFile) {
    const auto arguments = parsed({"--", "--samples"});
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->file, native("--samples"));
    EXPECT_FALSE(arguments->samples);
    EXPECT_EQ(parsed({"--", "--"}).value().file, native("--"));
}

TEST(ParseMp4Arguments, ADashAloneIsAFile) {
    EXPECT_EQ(parsed({"-"}).value().file, native("-"));
}

TEST(ParseMp4Arguments, OfTwoKeyframesTheLastCounts) {
    EXPECT_EQ(parsed({"a", "--keyframe", "1", "--keyframe", "2"}).value().keyframeSeconds, 2);
}

TEST(ParseMp4Arguments, HelpAndVersionNeedNoFile) {
    EXPECT_TRUE(parsed({"--help"}).value().help);
    EXPECT_TRUE(parsed({"-h"}).value().help);
    EXPECT_TRUE(parsed({"--version"}).value().version);
}

TEST(ParseMp4Arguments, SaysWhatCannotBeMeant) {
    EXPECT_EQ(problemOf({}), "No file is named.");
    EXPECT_EQ(problemOf({"--samples", "--"}), "No file is named.");
    EXPECT_EQ(problemOf({""}), "A file's name is empty.");
    EXPECT_EQ(problemOf({"a", "b"}), "One file too many: b");
    EXPECT_EQ(problemOf({"a", "--sample"}), "Unknown option: --sample");
    EXPECT_EQ(problemOf({"a", "--samples "}), "Unknown option: --samples ");
    EXPECT_EQ(problemOf({"a", "--keyframe=1"}), "Unknown option: --keyframe=1");
    EXPECT_EQ(problemOf({"a", "--keyframe"}), "--keyframe needs seconds, such as 12.5.");
    EXPECT_EQ(problemOf({"a", "--keyframe", "-1"}), "--keyframe needs seconds, such as 12.5: -1");
}

TEST(ParseSeconds, TakesPlainDecimals) {
    EXPECT_EQ(parseSeconds(native("0")), 0);
    EXPECT_EQ(parseSeconds(native("007")), 7);
    EXPECT_EQ(parseSeconds(native("12.5")), 12.5);
    EXPECT_EQ(parseSeconds(native("0.1")), 0.1);
    EXPECT_EQ(parseSeconds(native("99999999999999999999")), 1e20);
    EXPECT_EQ(parseSeconds(native("0.00000000000000000001")), 1e-20);
}

TEST(ParseSeconds, RefusesEverythingElse) {
    for (const char* text : {"", ".", ".5", "5.", "1.2.3", "1..2", "-1", "+1", "1e3", "1,5", "inf",
                             "nan", "0x10", " 1", "1 ", "1\n", "1s"}) {
        EXPECT_FALSE(parseSeconds(native(text))) << text;
    }
    EXPECT_FALSE(parseSeconds(NativeText(400, '9'))) << "not finite";
    EXPECT_FALSE(parseSeconds({'1', NativeText::value_type(0), '2'}));
}

TEST(ShownText, LeavesTextAsItIs) {
    EXPECT_EQ(shownText(std::string_view("a \xC3\xB6.mp4")), "a \xC3\xB6.mp4");
}

TEST(ShownText, KeepsToOneLine) {
    EXPECT_EQ(shownText(std::string_view("a\nb\x1B\x7F")), "a?b??");
    EXPECT_EQ(shownText(std::u16string_view(u"a\nb\r\x7F")), "a?b??");
}

TEST(ShownText, TurnsAllLengthsOfUtf16IntoUtf8) {
    EXPECT_EQ(shownText(std::u16string_view(u"a\u00F6\u07FF\u0800\u65E5\uFFFD\U0001F600")),
              "a\xC3\xB6\xDF\xBF\xE0\xA0\x80\xE6\x97\xA5\xEF\xBF\xBD\xF0\x9F\x98\x80");
    EXPECT_EQ(shownText(std::u16string_view(u"\U00010000\U0010FFFF")),
              "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(ShownText, ReplacesHalvesOfPairs) {
    const char16_t high = 0xD83D, low = 0xDE00;
    const std::string replaced = "\xEF\xBF\xBD";
    EXPECT_EQ(shownText(std::u16string{high}), replaced);
    EXPECT_EQ(shownText(std::u16string{low}), replaced);
    EXPECT_EQ(shownText(std::u16string{low, high}), replaced + replaced);
    EXPECT_EQ(shownText(std::u16string{high, u'a'}), replaced + "a");
    EXPECT_EQ(shownText(std::u16string{high, high, low}), replaced + "\xF0\x9F\x98\x80");
}

TEST(Mp4Usage, NamesEveryOption) {
    for (const char* option :
         {"--samples", "--keyframe", "--claim", "--version", "--help", "crc32", "editOffset"}) {
        EXPECT_NE(mp4Usage().find(option), std::string::npos) << option;
    }
}

TEST(Mp4Usage, FitsAConsole) {
    std::size_t width = 0;
    for (const char c : mp4Usage()) {
        width = c == '\n' ? 0 : width + 1;
        EXPECT_LT(width, 100u);
    }
}

} // namespace
} // namespace velkantrix
