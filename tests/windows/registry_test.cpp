#include "platform/registry.h"

#include <gtest/gtest.h>

#include "tests/windows/scratch_registry.h"

namespace velkantrix {
namespace {

using Bytes = std::vector<std::uint8_t>;

const std::wstring KEY = L"Software\\Some\\Key";

class RegistryTest : public testing::Test {
protected:
    ScratchRegistry registry;
};

TEST_F(RegistryTest, WhatIsWrittenIsReadAgain) {
    const Bytes bytes{1, 0, 2};
    ASSERT_EQ(writeRegistry(KEY, L"Näme", REG_BINARY, bytes), S_OK);
    EXPECT_EQ(readRegistry(KEY, L"Näme", REG_BINARY), bytes);
    ASSERT_EQ(writeRegistry(KEY, L"Näme", REG_BINARY, {}), S_OK);
    EXPECT_EQ(readRegistry(KEY, L"Näme", REG_BINARY), Bytes{});
}

TEST_F(RegistryTest, NumbersHaveFourBytes) {
    ASSERT_EQ(writeRegistryNumber(KEY, L"Number", 0x89ABCDEF), S_OK);
    EXPECT_EQ(readRegistryNumber(KEY, L"Number"), 0x89ABCDEF);
    EXPECT_EQ(readRegistry(KEY, L"Number", REG_DWORD), (Bytes{0xEF, 0xCD, 0xAB, 0x89}));
    for (const std::size_t size : {0U, 3U, 5U}) {
        ScratchRegistry::put(KEY, L"Number", REG_DWORD, Bytes(size, 1));
        EXPECT_EQ(readRegistryNumber(KEY, L"Number"), std::nullopt) << size;
    }
}

TEST_F(RegistryTest, TextsHaveTheirNul) {
    ASSERT_EQ(writeRegistryText(KEY, L"", L"ü"), S_OK);
    EXPECT_EQ(readRegistry(KEY, L"", REG_SZ), (Bytes{0xFC, 0, 0, 0}));
    ASSERT_EQ(writeRegistryText(KEY, L"Empty", L""), S_OK);
    EXPECT_EQ(readRegistry(KEY, L"Empty", REG_SZ), (Bytes{0, 0}));
}

TEST_F(RegistryTest, AnotherTypeIsNone) {
    ASSERT_EQ(writeRegistryText(KEY, L"Volume", L"ab"), S_OK);
    EXPECT_EQ(readRegistryNumber(KEY, L"Volume"), std::nullopt);
    EXPECT_EQ(readRegistry(KEY, L"Volume", REG_BINARY), std::nullopt);
    EXPECT_EQ(readRegistry(KEY, L"Volume", REG_MULTI_SZ), std::nullopt);
}

TEST_F(RegistryTest, WhatIsMissingIsNone) {
    EXPECT_EQ(readRegistry(KEY, L"Value", REG_BINARY), std::nullopt);
    ASSERT_EQ(writeRegistryNumber(KEY, L"Other", 1), S_OK);
    EXPECT_EQ(readRegistry(KEY, L"Value", REG_BINARY), std::nullopt);
}

TEST_F(RegistryTest, NobodysGiantIsRead) {
    ScratchRegistry::put(KEY, L"Giant", REG_BINARY, Bytes(MAX_REGISTRY_BYTES, 7));
    EXPECT_EQ(readRegistry(KEY, L"Giant", REG_BINARY)->size(), MAX_REGISTRY_BYTES);
    ScratchRegistry::put(KEY, L"Giant", REG_BINARY, Bytes(MAX_REGISTRY_BYTES + 1, 7));
    EXPECT_EQ(readRegistry(KEY, L"Giant", REG_BINARY), std::nullopt);
}

TEST_F(RegistryTest, AValueIsDeletedAloneAndOnce) {
    EXPECT_EQ(deleteRegistryValue(KEY, L"A"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    ASSERT_EQ(writeRegistryNumber(KEY, L"A", 1), S_OK);
    ASSERT_EQ(writeRegistryNumber(KEY, L"B", 2), S_OK);
    EXPECT_EQ(deleteRegistryValue(KEY, L"A"), S_OK);
    EXPECT_EQ(deleteRegistryValue(KEY, L"A"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(readRegistryNumber(KEY, L"A"), std::nullopt);
    EXPECT_EQ(readRegistryNumber(KEY, L"B"), 2u);
}

// A name can't be longer than 255 characters.
TEST_F(RegistryTest, AKeyThatCantBeMadeIsAnError) {
    EXPECT_TRUE(FAILED(writeRegistryNumber(std::wstring(300, L'k'), L"A", 1)));
    EXPECT_EQ(readRegistryNumber(std::wstring(300, L'k'), L"A"), std::nullopt);
}

TEST_F(RegistryTest, NoKeyStaysOpen) {
    const auto useAll = [] {
        ASSERT_EQ(writeRegistryNumber(KEY, L"A", 1), S_OK);
        EXPECT_EQ(readRegistryNumber(KEY, L"A"), 1u);
        EXPECT_EQ(deleteRegistryValue(KEY, L"A"), S_OK);
        EXPECT_EQ(readRegistryNumber(KEY, L"A"), std::nullopt);
    };
    const auto handles = [] {
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        return count;
    };
    useAll();
    const DWORD before = handles();
    for (int i = 0; i < 100; ++i) useAll();
    EXPECT_LT(handles(), before + 50);
}

} // namespace
} // namespace velkantrix
