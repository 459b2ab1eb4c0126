// test_files.h: the folders of the Windows tests, and files in them.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velkantrix {

// The folder that an environment variable names by a Unix path, as Windows sees it; empty when it
// isn't set.
std::wstring folderOf(const wchar_t* variable);

// A sample recording: mediaFile(L"closed") for closed.mp4.
std::wstring mediaFile(const std::wstring& name);

bool exists(const std::wstring& path);
std::vector<char> bytesOf(const std::wstring& path);
// Of everything in a folder.
std::vector<std::wstring> filesIn(const std::wstring& folder);
void writeBytes(const std::wstring& path, const std::vector<char>& bytes);

// An empty folder for the test that runs, taken away with what is in it.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    [[nodiscard]] std::wstring path(const std::wstring& name) const;
    [[nodiscard]] std::vector<std::wstring> files() const { return filesIn(folder_); }

private:
    void clear() const;
    std::wstring folder_;
};

// Gives each test such a folder.
class FolderTest : public testing::Test {
protected:
    [[nodiscard]] std::wstring inFolder(const std::wstring& name) const {
        return folder_.path(name);
    }
    [[nodiscard]] std::vector<std::wstring> filesInFolder() const { return folder_.files(); }

private:
    TestFolder folder_;
};

} // namespace velkantrix
