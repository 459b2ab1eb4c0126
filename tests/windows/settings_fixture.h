// settings_fixture.h: a window with a video, and a registry of the test's own.
#pragma once

#include "app/settings.h"

#include <cstring>
#include <optional>

#include "platform/handles.h"
#include "tests/windows/test_files.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {

using Bytes = std::vector<std::uint8_t>;

inline const std::wstring ROOT = L"Software\\Velkantrix";
inline const std::wstring PLAYHEADS = ROOT + L"\\Playheads";
inline const std::wstring GEOMETRY = ROOT + L"\\Geometry";
inline const std::wstring ZOOM = ROOT + L"\\Zoom";

inline RegistryEntries stored() {
    return ScratchRegistry::entries(ROOT);
}

inline Bytes playheadBytes(double seconds) {
    return ScratchRegistry::bytesOf(&seconds, sizeof seconds);
}

inline WINDOWPLACEMENT placementAt(const RECT& rect, UINT show = SW_SHOWNORMAL) {
    return {.length = sizeof(WINDOWPLACEMENT), .showCmd = show, .rcNormalPosition = rect};
}

inline Bytes bytesOf(const WINDOWPLACEMENT& placement) {
    return ScratchRegistry::bytesOf(&placement, sizeof placement);
}

inline WINDOWPLACEMENT placementIn(const RegistryEntry& entry) {
    WINDOWPLACEMENT placement = {};
    EXPECT_EQ(entry.type, static_cast<DWORD>(REG_BINARY));
    EXPECT_THAT(entry.bytes, testing::SizeIs(44));
    if (entry.bytes.size() == sizeof placement)
        std::memcpy(&placement, entry.bytes.data(), sizeof placement);
    return placement;
}

// A file of its own is open in the window, 10 seconds long.
class SettingsTest : public WindowTest {
protected:
    SettingsTest() {
        path = folder.path(L"übung Öl & 影片.mp4");
        writeBytes(path, {'v', 'i', 'd', 'e', 'o'});
        open(path);
        editState().playhead = 4.5;
    }

    static void open(const std::wstring& file) {
        startEdit(10);
        openState().path = file;
    }

    // As if it had been written at another time, the same one each time.
    static void touch(const std::wstring& file) {
        const UniqueFile handle(CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
        const FILETIME time = {.dwLowDateTime = 0, .dwHighDateTime = 30'000'000};
        EXPECT_TRUE(SetFileTime(handle.get(), nullptr, nullptr, &time));
    }

    static std::optional<double> storedPlayhead() {
        double seconds = -1;
        if (loadFilePlayhead(seconds)) return seconds;
        EXPECT_EQ(seconds, -1);
        return std::nullopt;
    }

    [[nodiscard]] std::wstring key() const { return fileStateKey(path); }

    TestFolder folder;
    std::wstring path;
};

} // namespace velkantrix
