#include "tests/windows/test_files.h"

#include <fstream>
#include <iterator>

#include "base/unique_handle.h"

namespace velkantrix {
namespace {

struct SearchTraits {
    using Value = HANDLE;
    static Value none() { return INVALID_HANDLE_VALUE; }
    static void close(Value search) { FindClose(search); }
};
using UniqueSearch = UniqueHandle<SearchTraits>;

void makeFolders(const std::wstring& path) {
    for (size_t i = path.find(L'\\', 3); i != std::wstring::npos; i = path.find(L'\\', i + 1)) {
        CreateDirectoryW(path.substr(0, i).c_str(), nullptr);
    }
    CreateDirectoryW(path.c_str(), nullptr);
}

std::wstring wide(const char* text) {
    return std::wstring(text, text + strlen(text));
}

} // namespace

std::wstring folderOf(const wchar_t* variable) {
    wchar_t value[1024] = L"";
    if (!GetEnvironmentVariableW(variable, value, 1024)) return {};
    std::wstring path = L"Z:";
    for (const wchar_t* c = value; *c; c++) path += *c == L'/' ? L'\\' : *c;
    return path;
}

std::wstring mediaFile(const std::wstring& name) {
    return folderOf(L"VELKANTRIX_MEDIA") + L"\\" + name + L".mp4";
}

bool exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::vector<char> bytesOf(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeBytes(const std::wstring& path, const std::vector<char>& bytes) {
    std::ofstream file(path.c_str(), std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.good());
}

std::vector<std::wstring> filesIn(const std::wstring& folder) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found;
    const UniqueSearch search(FindFirstFileW((folder + L"\\*").c_str(), &found));
    if (!search) return names;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..") names.push_back(name);
    } while (FindNextFileW(search.get(), &found));
    return names;
}

TestFolder::TestFolder() {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    folder_ = folderOf(L"VELKANTRIX_SCRATCH");
    EXPECT_FALSE(folder_.empty()) << "VELKANTRIX_SCRATCH names no folder";
    folder_ += L"\\" + wide(test->test_suite_name()) + L"." + wide(test->name());
    makeFolders(folder_);
    clear();
}

TestFolder::~TestFolder() {
    clear();
    RemoveDirectoryW(folder_.c_str());
}

std::wstring TestFolder::path(const std::wstring& name) const {
    return folder_ + L"\\" + name;
}

void TestFolder::clear() const {
    for (const std::wstring& name : files()) DeleteFileW(path(name).c_str());
}

} // namespace velkantrix
