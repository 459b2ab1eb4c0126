#include "base/time_text.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

struct Row {
    double seconds;
    const wchar_t* text;
};

TEST(FormatTime, WritesHoursOnlyWhenThereAreAny) {
    const Row rows[] = {
        {0, L"00:00.000"},       {0.0004, L"00:00.000"},        {0.0005, L"00:00.001"},
        {1.25, L"00:01.250"},    {59.9994, L"00:59.999"},       {59.9995, L"01:00.000"},
        {90.5, L"01:30.500"},    {3599.9994, L"59:59.999"},     {3599.9996, L"01:00:00.000"},
        {3600, L"01:00:00.000"}, {36'610.125, L"10:10:10.125"}, {360'000, L"100:00:00.000"},
    };
    for (const Row& row : rows) EXPECT_EQ(formatTime(row.seconds), row.text) << row.seconds;
}

TEST(FormatTime, WhatIsNoTimeReadsAsZero) {
    EXPECT_EQ(formatTime(-5), L"00:00.000");
    EXPECT_EQ(formatTime(std::nan("")), L"00:00.000");
}

TEST(FormatTime, EndlessTimesReadAsTheLongest) {
    const std::wstring longest = L"277777:46:39.999";
    EXPECT_EQ(formatTime(1e300), longest);
    EXPECT_EQ(formatTime(std::numeric_limits<double>::infinity()), longest);
}

} // namespace
} // namespace velkantrix
