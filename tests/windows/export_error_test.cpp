#include <mferror.h>

#include <gtest/gtest.h>

#include "export/export_core.h"

namespace velkantrix {
namespace {

std::wstring systemMessage(DWORD code) {
    wchar_t text[512] = L"";
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                   text, 512, nullptr);
    return text;
}

TEST(FormatExportError, IsTheSystemsMessageAsItStandsAndTheCode) {
    const std::wstring message = systemMessage(0x80070005);
    ASSERT_FALSE(message.empty());
    ASSERT_EQ(message.back(), L'\n');
    EXPECT_EQ(FormatExportError(static_cast<HRESULT>(0x80070005)), message + L" (0x80070005)");
}

TEST(FormatExportError, WithoutAMessageItSaysWhatFailed) {
    ASSERT_TRUE(systemMessage(0xA00D36B3).empty());
    EXPECT_EQ(FormatExportError(static_cast<HRESULT>(0xA00D36B3)),
              L"Media Foundation export failed (0xA00D36B3)");
}

TEST(FormatExportError, WritesEightUpperCaseDigits) {
    const std::wstring text = FormatExportError(static_cast<HRESULT>(0xABCDEF));
    EXPECT_EQ(text.substr(text.size() - 13), L" (0x00ABCDEF)");
}

} // namespace
} // namespace velkantrix
