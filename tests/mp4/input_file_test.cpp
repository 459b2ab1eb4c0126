#include "mp4/input_file.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/box_builder.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t FARTHEST = std::numeric_limits<std::uint64_t>::max();

using Open = InputFile (*)(const FilePath&);

class OpenInputFile : public testing::TestWithParam<Open> {
protected:
    static InputFile open(const FilePath& path) { return GetParam()(path); }
};

INSTANTIATE_TEST_SUITE_P(Both, OpenInputFile,
                         testing::Values(&OpenForRandomAccess, &openForSequentialScan),
                         [](const auto& test) {
                             return test.index == 0 ? "RandomAccess" : "SequentialScan";
                         });

// The `length` bytes from `offset` on, or "none".
std::string textAt(const InputFile& file, std::uint64_t offset, std::size_t length) {
    std::string text(length, '?');
    return ReadAt(file, offset, text.data(), length) ? text : "none";
}

TEST_P(OpenInputFile, AnExistingFileIsOpenedWithItsSize) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = open(temp.path());
    ASSERT_TRUE(file);
    EXPECT_EQ(file.size, 10u);
    EXPECT_EQ(textAt(file, 0, 10), "0123456789");
}

TEST_P(OpenInputFile, AnEmptyFileIsOpened) {
    const TempFile temp;
    const InputFile file = open(temp.path());
    EXPECT_TRUE(file);
    EXPECT_EQ(file.size, 0u);
}

TEST_P(OpenInputFile, AMissingFileIsNoneAndIsNotMade) {
    const std::filesystem::path path = TempFile::unusedPath();
    const InputFile file = open(path);
    EXPECT_FALSE(file);
    EXPECT_EQ(file.size, 0u);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_P(OpenInputFile, AFolderIsNone) {
    EXPECT_FALSE(open(std::filesystem::temp_directory_path()));
}

TEST_P(OpenInputFile, AnEmptyPathIsNone) {
    EXPECT_FALSE(open({}));
}

TEST_P(OpenInputFile, ANameOutsideOfAsciiIsFound) {
    const TempFile temp(Bytes().text("found"), u8" \u00E4\u03A9\u65E5\u672C \U0001F3AC.mp4");
    const InputFile file = open(temp.path());
    ASSERT_TRUE(file);
    EXPECT_EQ(textAt(file, 0, 5), "found");
}

TEST_P(OpenInputFile, AFileThatIsBeingWrittenIsRead) {
    const TempFile temp(Bytes().text("0123456789"));
    std::fstream writer(temp.path(), std::ios::binary | std::ios::in | std::ios::out);
    ASSERT_TRUE(writer.is_open());
    const InputFile file = open(temp.path());
    ASSERT_TRUE(file);
    writer.write("ab", 2).flush();
    EXPECT_EQ(textAt(file, 0, 4), "ab23");
}

TEST_P(OpenInputFile, OthersMayOpenTheFileToReadAndToWrite) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = open(temp.path());
    ASSERT_TRUE(file);
    EXPECT_TRUE(open(temp.path()));
    EXPECT_TRUE(std::ofstream(temp.path(), std::ios::binary | std::ios::in).is_open());
}

// A handle that stays open would keep the file from being removed, on Windows.
TEST_P(OpenInputFile, TheHandleIsClosedWithItsOwner) {
    const TempFile temp(Bytes().text("0123456789"));
    {
        const InputFile file = open(temp.path());
        ASSERT_TRUE(file);
    }
    std::error_code error;
    EXPECT_TRUE(std::filesystem::remove(temp.path(), error)) << error.message();
}

TEST_P(OpenInputFile, AFileThatMayOnlyBeReadIsOpened) {
    const TempFile temp(Bytes().text("0123456789"));
    using std::filesystem::perms;
    std::filesystem::permissions(temp.path(),
                                 perms::owner_write | perms::group_write | perms::others_write,
                                 std::filesystem::perm_options::remove);
    EXPECT_TRUE(open(temp.path()));
    std::filesystem::permissions(temp.path(), perms::owner_write,
                                 std::filesystem::perm_options::add);
}

TEST(ReadAt, ReachesFromTheFirstByteToTheLast) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    struct Row {
        std::uint64_t offset;
        std::size_t length;
        std::string text;
    };
    for (const Row& row : {
             Row{0, 4, "0123"}, Row{3, 4, "3456"}, Row{6, 4, "6789"}, // exactly to the end
             Row{7, 4, "none"},                                       // one byte over
             Row{0, 10, "0123456789"}, Row{0, 11, "none"}, Row{9, 1, "9"}, Row{10, 1, "none"},
             Row{11, 1, "none"}, Row{FARTHEST, 1, "none"}, Row{FARTHEST, 4, "none"},
             Row{FARTHEST - 3, 4, "none"},  // the sum is 2^64
             Row{FARTHEST - 1, 10, "none"}, // and here it is 8
         }) {
        EXPECT_EQ(textAt(file, row.offset, row.length), row.text)
            << row.offset << " " << row.length;
    }
    std::uint8_t byte = 0;
    EXPECT_FALSE(ReadAt(file, 2, &byte, std::numeric_limits<std::size_t>::max()));
}

TEST(ReadAt, NoBytesAreThereUpToTheEnd) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    EXPECT_TRUE(ReadAt(file, 0, nullptr, 0));
    EXPECT_TRUE(ReadAt(file, 10, nullptr, 0));
    EXPECT_FALSE(ReadAt(file, 11, nullptr, 0));
    EXPECT_FALSE(ReadAt(file, FARTHEST, nullptr, 0));
}

TEST(ReadAt, NothingIsReadWhereTheEndWouldBePassed) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    std::string text(4, '?');
    EXPECT_FALSE(ReadAt(file, 7, text.data(), 4));
    EXPECT_EQ(text, "????");
}

TEST(ReadAt, AFileThatIsNotOpenGivesNothing) {
    std::uint8_t byte = 0;
    EXPECT_FALSE(ReadAt(InputFile(), 0, &byte, 1));
    EXPECT_FALSE(ReadAt(InputFile(), 0, &byte, 0));
}

TEST(ReadAt, ReadsInAnyOrderAreIndependent) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    EXPECT_EQ(textAt(file, 8, 2), "89");
    EXPECT_EQ(textAt(file, 2, 2), "23");
    EXPECT_EQ(textAt(file, 2, 2), "23");
    EXPECT_EQ(textAt(file, 5, 1), "5");
}

TEST(ReadAt, AFileThatHasShrunkGivesWhatIsLeft) {
    TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    temp.resize(6);
    EXPECT_EQ(textAt(file, 2, 4), "2345");
    EXPECT_EQ(textAt(file, 3, 4), "none");
    EXPECT_EQ(textAt(file, 6, 1), "none");
}

TEST(ReadAt, WhatWasAppendedAfterOpeningIsBeyondTheEnd) {
    TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    temp.resize(20);
    EXPECT_EQ(textAt(file, 9, 1), "9");
    EXPECT_EQ(textAt(file, 9, 2), "none");
    EXPECT_EQ(textAt(file, 10, 1), "none");
}

// Cut to 32 bits, these offsets would name the digits; above them are zeros.
TEST(ReadAt, OffsetsAboveFourGigabytesAreNotCutOff) {
    constexpr std::uint64_t HIGH = std::uint64_t{1} << 32;
    TempFile temp(Bytes().text("0123456789"));
    temp.resize(HIGH + 8);
    const InputFile file = OpenForRandomAccess(temp.path());
    ASSERT_EQ(file.size, HIGH + 8);
    EXPECT_EQ(textAt(file, HIGH, 4), std::string(4, '\0'));
    EXPECT_EQ(textAt(file, HIGH + 4, 4), std::string(4, '\0'));
    EXPECT_EQ(textAt(file, HIGH + 5, 4), "none");
    EXPECT_EQ(textAt(file, 0, 4), "0123");
}

TEST(ReadAt, SeveralThreadsReadAtOnce) {
    Bytes content;
    for (std::uint32_t i = 0; i < 4096; ++i) content.u32(i);
    const TempFile temp(content);
    const InputFile file = OpenForRandomAccess(temp.path());
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (std::uint32_t t = 0; t < wrong.size(); ++t) {
        threads.emplace_back([&file, &count = wrong[t], t] {
            std::array<std::uint8_t, 4> bytes{};
            for (std::uint32_t i = t; i < 4096; i += 3) {
                const bool read = ReadAt(file, std::uint64_t{i} * 4, bytes.data(), 4);
                if (!read || ByteView(bytes.data(), 4).u32(0) != i) ++count;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, (std::array<int, 4>{}));
}

TEST(ReadInto, TheBufferHoldsExactlyThoseBytes) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    ByteBuffer buffer;
    ASSERT_TRUE(readInto(buffer, file, 6, 4));
    EXPECT_EQ(std::string(buffer.view().begin(), buffer.view().end()), "6789");
    ASSERT_TRUE(readInto(buffer, file, 0, 2));
    EXPECT_EQ(std::string(buffer.view().begin(), buffer.view().end()), "01");
    EXPECT_TRUE(readInto(buffer, file, 10, 0));
    EXPECT_EQ(buffer.size(), 0u);
}

// A buffer of such a length could not be made: the file's length is looked at first.
TEST(ReadInto, TooLongForTheFileIsRefusedWithoutMakingRoom) {
    const TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    ByteBuffer buffer;
    buffer.allocate(3);
    EXPECT_FALSE(readInto(buffer, file, 6, 5));
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_FALSE(readInto(buffer, file, 0, FARTHEST));
    EXPECT_FALSE(readInto(buffer, file, 5, FARTHEST - 2));
    EXPECT_FALSE(readInto(buffer, file, FARTHEST, 1));
    EXPECT_FALSE(readInto(buffer, InputFile(), 0, 1));
}

TEST(ReadInto, TheBufferIsEmptyAfterAReadThatFailed) {
    TempFile temp(Bytes().text("0123456789"));
    const InputFile file = OpenForRandomAccess(temp.path());
    temp.resize(6);
    ByteBuffer buffer;
    EXPECT_FALSE(readInto(buffer, file, 0, 10));
    EXPECT_EQ(buffer.size(), 0u);
}

TEST(FileSizeFromAttributes, OfAFile) {
    TempFile temp(Bytes().text("0123456789"));
    EXPECT_EQ(fileSizeFromAttributes(temp.path()), 10u);
    temp.resize(0);
    EXPECT_EQ(fileSizeFromAttributes(temp.path()), 0u);
    temp.resize((std::uint64_t{5} << 32) + 7);
    EXPECT_EQ(fileSizeFromAttributes(temp.path()), (std::uint64_t{5} << 32) + 7);
}

TEST(FileSizeFromAttributes, OfNothingOrAFolderIsNone) {
    EXPECT_EQ(fileSizeFromAttributes(TempFile::unusedPath()), std::nullopt);
    EXPECT_EQ(fileSizeFromAttributes(std::filesystem::temp_directory_path()), std::nullopt);
    EXPECT_EQ(fileSizeFromAttributes({}), std::nullopt);
}

TEST(FileSizeFromAttributes, OfANameOutsideOfAscii) {
    const TempFile temp(Bytes().text("0123456789"), u8" \u00FC.mp4");
    EXPECT_EQ(fileSizeFromAttributes(temp.path()), 10u);
}

} // namespace
} // namespace velkantrix
