// What the window remembers of a video and for all, in a registry of the test's own.
#include "app/settings.h"

#include <limits>

#include "app/settings_codec.h"
#include "tests/windows/settings_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(SettingsTest, AFilesKeyIsItsOwnWhateverItsLettersCase) {
    EXPECT_THAT(key(), SizeIs(16));
    std::wstring upper = path;
    CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    EXPECT_NE(upper, path);
    EXPECT_EQ(fileStateKey(upper), key());
    EXPECT_EQ(fileStateKey(folder.path(L"sub\\..\\übung Öl & 影片.mp4")), key());
    const std::wstring copy = folder.path(L"copy.mp4");
    ASSERT_TRUE(CopyFileW(path.c_str(), copy.c_str(), TRUE));
    EXPECT_NE(fileStateKey(copy), key());
}

TEST_F(SettingsTest, AChangedFileHasAnotherKey) {
    const std::wstring before = key();
    touch(path);
    const std::wstring touched = key();
    EXPECT_NE(touched, before);
    writeBytes(path, {'l', 'o', 'n', 'g', 'e', 'r'});
    EXPECT_NE(key(), touched);
}

// With the same end of its size in 32 bits.
TEST_F(SettingsTest, AFileThatGrewByFourGigabytesHasAnotherKey) {
    touch(path);
    const std::wstring before = key();
    const UniqueFile file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    const LARGE_INTEGER size = {.QuadPart = 5 + (1LL << 32)};
    ASSERT_TRUE(SetFilePointerEx(file.get(), size, nullptr, FILE_BEGIN));
    ASSERT_TRUE(SetEndOfFile(file.get()));
    touch(path);
    EXPECT_NE(key(), before);
}

TEST_F(SettingsTest, AFileThatIsGoneHasAKeyAllTheSame) {
    EXPECT_EQ(fileStateKey(L"C:\\No such\\File.mp4"),
              fileStateKeyOf(u"c:\\no such\\file.mp4", {.size = ~0ULL, .time = 0}));
}

TEST_F(SettingsTest, TheFilesStateIsStoredUnderItsKey) {
    ui().doubled = true;
    openHost().storeFileState();
    const RegistryEntries entries = stored();
    ASSERT_THAT(entries, SizeIs(3));
    EXPECT_EQ(entries.at({PLAYHEADS, key()}), (RegistryEntry{REG_BINARY, playheadBytes(4.5)}));
    EXPECT_EQ(entries.at({ZOOM, key()}), ScratchRegistry::number(1));
    const RECT normal = placementIn(entries.at({GEOMETRY, key()})).rcNormalPosition;
    expectWindowAt(normal);
    ui().doubled = false;
    storeFileZoom(key());
    EXPECT_EQ(stored().at({ZOOM, key()}), ScratchRegistry::number(0));
}

TEST_F(SettingsTest, ThePlayheadIsStoredWithinTheVideo) {
    editState().playhead = 11;
    storeFilePlayhead(key());
    EXPECT_EQ(storedPlayhead(), 10);
    editState().playhead = -1;
    storeFilePlayhead(key());
    EXPECT_EQ(storedPlayhead(), 0);
}

TEST_F(SettingsTest, NothingIsStoredOfWhatIsNotOpen) {
    editState().videoLoaded = false;
    openHost().storeFileState();
    editState().videoLoaded = true;
    openState().path.clear();
    openHost().storeFileState();
    EXPECT_THAT(stored(), IsEmpty());
}

TEST_F(SettingsTest, AVideoWithoutALengthHasNoPlayhead) {
    editState().duration = 0;
    openHost().storeFileState();
    EXPECT_EQ(stored().count({PLAYHEADS, key()}), 0u);
    EXPECT_EQ(stored().count({GEOMETRY, key()}), 1u);
    EXPECT_EQ(stored().count({ZOOM, key()}), 1u);
}

TEST_F(SettingsTest, OfAFileThatIsGoneNothingIsStored) {
    ASSERT_TRUE(DeleteFileW(path.c_str()));
    openHost().storeFileState();
    EXPECT_THAT(stored(), IsEmpty());
}

TEST_F(SettingsTest, ThePlayheadComesBack) {
    EXPECT_EQ(storedPlayhead(), std::nullopt);
    storeFilePlayhead(key());
    EXPECT_EQ(storedPlayhead(), 4.5);
    EXPECT_EQ(openHost().storedPlayhead(), 4.5);
    touch(path);
    EXPECT_EQ(storedPlayhead(), std::nullopt);
}

TEST_F(SettingsTest, APlayheadOfAnotherKindIsNone) {
    for (const auto& [type, bytes] : std::vector<std::pair<DWORD, Bytes>>{
             {REG_SZ, playheadBytes(4.5)},
             {REG_QWORD, playheadBytes(4.5)},
             {REG_BINARY, Bytes(7, 1)},
             {REG_BINARY, Bytes(9, 1)},
             {REG_BINARY, {}},
             {REG_BINARY, playheadBytes(std::numeric_limits<double>::quiet_NaN())},
             {REG_BINARY, playheadBytes(std::numeric_limits<double>::infinity())}}) {
        ScratchRegistry::put(PLAYHEADS, key(), type, bytes);
        EXPECT_EQ(storedPlayhead(), std::nullopt);
    }
}

TEST_F(SettingsTest, TheZoomComesBackAndIsOffWithoutOne) {
    ui().doubled = true;
    openHost().restoreZoom();
    EXPECT_FALSE(ui().doubled);
    for (const DWORD value : {1u, 2u, 0xFFFFFFFFu}) {
        ScratchRegistry::put(ZOOM, key(), REG_DWORD, ScratchRegistry::number(value).bytes);
        openHost().restoreZoom();
        EXPECT_TRUE(ui().doubled);
    }
    ScratchRegistry::put(ZOOM, key(), REG_DWORD, ScratchRegistry::number(0).bytes);
    openHost().restoreZoom();
    EXPECT_FALSE(ui().doubled);
    ScratchRegistry::put(ZOOM, key(), REG_BINARY, {1, 0, 0, 0});
    openHost().restoreZoom();
    EXPECT_FALSE(ui().doubled);
}

TEST_F(SettingsTest, TheVolumeComesBack) {
    ui().volume = {.level = 0.35, .muted = true};
    storeVolume();
    EXPECT_EQ(stored().at({ROOT, L"Volume"}), ScratchRegistry::number(35));
    EXPECT_EQ(stored().at({ROOT, L"Muted"}), ScratchRegistry::number(1));
    ui().volume = {};
    loadVolume();
    EXPECT_EQ(ui().volume, (Volume{.level = 0.35, .muted = true}));
    ui().volume.muted = false;
    storeVolume();
    EXPECT_EQ(stored().at({ROOT, L"Muted"}), ScratchRegistry::number(0));
}

TEST_F(SettingsTest, WhatIsNotZeroIsMuted) {
    for (const auto& [value, muted] :
         {std::pair<DWORD, bool>{1, true}, {0, false}, {2, true}, {0xFFFFFFFF, true}, {0, false}}) {
        ScratchRegistry::put(ROOT, L"Muted", REG_DWORD, ScratchRegistry::number(value).bytes);
        loadVolume();
        EXPECT_EQ(ui().volume.muted, muted) << value;
    }
}

TEST_F(SettingsTest, WithoutAStoredVolumeItIsFullAndHeard) {
    loadVolume();
    EXPECT_EQ(ui().volume, (Volume{.level = 1, .muted = false}));
}

TEST_F(SettingsTest, AVolumeBeyondItsRangeIsItsEnd) {
    for (const auto& [value, level] :
         {std::pair<DWORD, double>{250, 1}, {0xFFFFFFFF, 0}, {0, 0}, {100, 1}}) {
        ScratchRegistry::put(ROOT, L"Volume", REG_DWORD, ScratchRegistry::number(value).bytes);
        loadVolume();
        EXPECT_EQ(ui().volume.level, level) << value;
    }
    ui().volume = {};
    ScratchRegistry::put(ROOT, L"Volume", REG_SZ, ScratchRegistry::text(L"20").bytes);
    ScratchRegistry::put(ROOT, L"Muted", REG_SZ, ScratchRegistry::text(L"1").bytes);
    loadVolume();
    EXPECT_EQ(ui().volume, Volume{});
}

TEST_F(SettingsTest, EachChangeOfTheRecentFilesIsStored) {
    addRecent(L"C:\\a.mp4");
    addRecent(L"C:\\Ü & 影.mp4");
    const std::wstring two = {L"C:\\Ü & 影.mp4\0C:\\a.mp4\0\0", 23};
    EXPECT_EQ(stored().at({ROOT, L"RecentFiles"}),
              (RegistryEntry{REG_MULTI_SZ, ScratchRegistry::bytesOf(two.data(), two.size() * 2)}));
    removeRecent(L"c:\\A.mp4");
    ui().recentFiles.clear();
    loadRecent();
    EXPECT_THAT(ui().recentFiles, ElementsAre(L"C:\\Ü & 影.mp4"));
    command(419);
    EXPECT_THAT(ui().recentFiles, IsEmpty());
    EXPECT_EQ(stored().at({ROOT, L"RecentFiles"}), (RegistryEntry{REG_MULTI_SZ, {0, 0}}));
}

TEST_F(SettingsTest, AFileThatIsListedMovesToTheFrontAndTheEleventhDropsTheOldest) {
    for (int i = 0; i < 10; ++i) addRecent(L"C:\\" + std::to_wstring(i) + L".MP4");
    addRecent(L"c:\\3.mp4");
    loadRecent();
    ASSERT_THAT(ui().recentFiles, SizeIs(10));
    EXPECT_EQ(ui().recentFiles[0], L"c:\\3.mp4");
    EXPECT_EQ(ui().recentFiles[9], L"C:\\0.MP4");
    addRecent(L"C:\\new.mp4");
    loadRecent();
    ASSERT_THAT(ui().recentFiles, SizeIs(10));
    EXPECT_EQ(ui().recentFiles[9], L"C:\\1.MP4");
}

TEST_F(SettingsTest, RecentFilesOfAnotherKindAreNone) {
    ui().recentFiles = {L"C:\\a.mp4"};
    loadRecent();
    EXPECT_THAT(ui().recentFiles, IsEmpty());
    for (const auto& [type, bytes] :
         std::vector<std::pair<DWORD, Bytes>>{{REG_SZ, ScratchRegistry::text(L"C:\\a.mp4").bytes},
                                              {REG_MULTI_SZ, {}},
                                              {REG_MULTI_SZ, {0x61}},
                                              {REG_MULTI_SZ, {0, 0, 0x61, 0, 0, 0, 0, 0}}}) {
        ScratchRegistry::put(ROOT, L"RecentFiles", type, bytes);
        loadRecent();
        EXPECT_THAT(ui().recentFiles, IsEmpty());
    }
}

TEST_F(SettingsTest, AFilesStateIsForgottenUnderItsOldKey) {
    openHost().storeFileState();
    const std::wstring old = key();
    touch(path);
    openHost().storeFileState();
    EXPECT_THAT(stored(), SizeIs(6));
    forgetFileState(old);
    EXPECT_THAT(stored(), SizeIs(3));
    EXPECT_EQ(stored().count({PLAYHEADS, key()}), 1u);
    forgetFileState(old);
    forgetFileState(L"");
    EXPECT_THAT(stored(), SizeIs(3));
}

TEST_F(SettingsTest, AWindowThatGoesStoresAllOfIt) {
    ui().volume.level = 0.5;
    DestroyWindow(window);
    const RegistryEntries entries = stored();
    EXPECT_THAT(entries, SizeIs(6));
    EXPECT_EQ(entries.count({PLAYHEADS, key()}), 1u);
    EXPECT_EQ(entries.count({GEOMETRY, key()}), 1u);
    EXPECT_EQ(entries.count({ZOOM, key()}), 1u);
    EXPECT_EQ(entries.count({ROOT, L"WindowPlacement"}), 1u);
    EXPECT_EQ(entries.at({ROOT, L"Volume"}), ScratchRegistry::number(50));
    EXPECT_EQ(entries.count({ROOT, L"Muted"}), 1u);
}

// A volatile key can't have others in it that stay.
TEST_F(SettingsTest, WhatCantBeStoredIsNoReasonToStay) {
    HKEY root = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, ROOT.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &root, nullptr),
              ERROR_SUCCESS);
    addRecent(L"C:\\a.mp4");
    openHost().storeFileState();
    DestroyWindow(window);
    RegCloseKey(root);
    const RegistryEntries entries = stored();
    EXPECT_EQ(entries.count({PLAYHEADS, key()}), 0u);
    EXPECT_EQ(entries.count({ROOT, L"Volume"}), 1u);
    EXPECT_EQ(entries.count({ROOT, L"RecentFiles"}), 1u);
}

TEST_F(SettingsTest, TheEndOfTheSessionStoresAllOfItAndItsRefusalNothing) {
    send(WM_ENDSESSION, FALSE);
    EXPECT_THAT(stored(), IsEmpty());
    send(WM_ENDSESSION, TRUE);
    EXPECT_THAT(stored(), SizeIs(6));
}

} // namespace
} // namespace velkantrix
