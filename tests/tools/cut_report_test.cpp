#include "tools/velkantrix-cut/cut_report.h"

#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(ReportPace, TheFirstReportIsDueAtOnceAndThenTenASecond) {
    ReportPace pace;
    EXPECT_TRUE(pace.due(5000));
    EXPECT_FALSE(pace.due(5099));
    EXPECT_TRUE(pace.due(5100));
    EXPECT_FALSE(pace.due(5101));
    EXPECT_TRUE(pace.due(9000));
    EXPECT_FALSE(pace.due(9099));
}

TEST(ProgressJson, IsALineWithShareAndTimeLeft) {
    EXPECT_EQ(progressJson(2.5, 10, 1),
              L"{\"event\":\"progress\",\"seconds\":2.500,\"total\":10.000,\"share\":0.250,"
              L"\"remaining\":3.000}");
    EXPECT_EQ(progressJson(0, 10, 1),
              L"{\"event\":\"progress\",\"seconds\":0.000,\"total\":10.000,\"share\":0.000,"
              L"\"remaining\":null}");
}

TEST(ProgressJson, HasNoInfinities) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(progressJson(-1, infinity, 1),
              L"{\"event\":\"progress\",\"seconds\":0.000,\"total\":100000000.000,\"share\":0.000,"
              L"\"remaining\":null}");
}

TEST(DoneJson, EscapesTheOutputsName) {
    EXPECT_EQ(doneJson(L"C:\\new \"cut\"\t\u00e4.mp4", 3, 0.25),
              L"{\"event\":\"done\",\"output\":\"C:\\\\new \\\"cut\\\"\\u0009\u00e4.mp4\","
              L"\"length\":3.000,\"elapsed\":0.250}");
}

TEST(DoneJson, ALengthThatIsNotKnownIsNull) {
    EXPECT_EQ(doneJson(L"a", std::nullopt, 1),
              L"{\"event\":\"done\",\"output\":\"a\",\"length\":null,\"elapsed\":1.000}");
}

TEST(DoneJson, OfSeveralFilesTellsEach) {
    EXPECT_EQ(doneJson(L"f", {{L"f\\a.mp4", 1.5}, {L"f\\b.mp4", 2}}, 1),
              L"{\"event\":\"done\",\"output\":\"f\",\"length\":3.500,\"elapsed\":1.000,\"files\":["
              L"{\"output\":\"f\\\\a.mp4\",\"length\":1.500},"
              L"{\"output\":\"f\\\\b.mp4\",\"length\":2.000}]}");
}

TEST(DoneJson, OneLengthThatIsNotKnownLeavesTheSumUnknown) {
    EXPECT_EQ(doneJson(L"f", {{L"a", std::nullopt}, {L"b", 2}}, 1),
              L"{\"event\":\"done\",\"output\":\"f\",\"length\":null,\"elapsed\":1.000,\"files\":["
              L"{\"output\":\"a\",\"length\":null},{\"output\":\"b\",\"length\":2.000}]}");
}

TEST(NoteJson, CarriesTheMessage) {
    EXPECT_EQ(noteJson(L"By the way"), L"{\"event\":\"note\",\"message\":\"By the way\"}");
}

TEST(ErrorJson, CarriesTheMessage) {
    EXPECT_EQ(errorJson(L"Export cancelled"),
              L"{\"event\":\"error\",\"message\":\"Export cancelled\"}");
}

TEST(OneLine, FoldsLineEndsAndSpaces) {
    EXPECT_EQ(oneLine(L"File not found.\r\n (0x80070002)"), L"File not found. (0x80070002)");
    EXPECT_EQ(oneLine(L"\n a\t b \n"), L"a b");
    EXPECT_EQ(oneLine(L""), L"");
}

} // namespace
} // namespace velkantrix
