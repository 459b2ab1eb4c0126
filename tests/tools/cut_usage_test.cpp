#include "tools/velkantrix-cut/cut_usage.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(CutUsage, NamesEveryOption) {
    for (const wchar_t* option :
         {L"--keep", L"--separate", L"--quality", L"--exposure", L"--fade-in", L"--fade-out",
          L"--json", L"--version", L"--help"}) {
        EXPECT_NE(cutUsage().find(option), std::wstring::npos);
    }
}

TEST(CutUsage, FitsIntoAConsolesWidth) {
    const std::wstring usage = cutUsage();
    for (std::size_t begin = 0; begin < usage.size();) {
        const std::size_t end = usage.find(L'\n', begin);
        ASSERT_NE(end, std::wstring::npos);
        EXPECT_LE(end - begin, 88u);
        begin = end + 1;
    }
}

} // namespace
} // namespace velkantrix
