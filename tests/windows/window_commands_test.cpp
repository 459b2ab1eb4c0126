// What the main window makes of its commands, as menus and keys send them.
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using WindowCommandsTest = WindowTest;

TEST_F(WindowCommandsTest, FadesAreToggledOnTheSelectedClip) {
    startEdit(10);
    command(135);
    EXPECT_EQ(editState().clips[0].fadeIn, 1);
    EXPECT_EQ(editState().clips[0].fadeOut, 0);
    command(135);
    EXPECT_EQ(editState().clips[0].fadeIn, 0);
    command(136);
    EXPECT_EQ(editState().clips[0].fadeIn, 0);
    EXPECT_EQ(editState().clips[0].fadeOut, 1);
    command(136);
    EXPECT_EQ(editState().clips[0].fadeOut, 0);
}

TEST_F(WindowCommandsTest, TheExportSettingsAreNumbered) {
    for (const int layout : {1, 0}) {
        command(300 + layout);
        EXPECT_EQ(exportJob().exportLayout, layout);
        EXPECT_EQ(exportJob().exportQuality, 0);
    }
    for (const int quality : {4, 3, 2, 1, 0}) {
        command(310 + quality);
        EXPECT_EQ(exportJob().exportQuality, quality);
        EXPECT_EQ(exportJob().exportLayout, 0);
    }
}

TEST_F(WindowCommandsTest, NumbersBesideTheExportSettingsChangeNothing) {
    startEdit(10);
    command(301);
    command(312);
    const EditState before = editState();
    for (const int id : {299, 302, 309, 315}) {
        command(id);
        EXPECT_EQ(exportJob().exportLayout, 1) << id;
        EXPECT_EQ(exportJob().exportQuality, 2) << id;
        EXPECT_TRUE(editState() == before) << id;
    }
}

TEST_F(WindowCommandsTest, LouderIsHeardAgainAndSofterIsNot) {
    EXPECT_EQ(ui().volume, (Volume{.level = 1, .muted = false}));
    command(129);
    command(131);
    EXPECT_DOUBLE_EQ(ui().volume.level, 0.95);
    EXPECT_TRUE(ui().volume.muted);
    command(130);
    EXPECT_DOUBLE_EQ(ui().volume.level, 1);
    EXPECT_FALSE(ui().volume.muted);
    command(129);
    command(129);
    EXPECT_FALSE(ui().volume.muted);
}

TEST_F(WindowCommandsTest, ARemovedClipIsBroughtBackAndRemovedAgain) {
    startEdit(10);
    splitClip(0, 4);
    const ClipList both = editState().clips;
    editState().selectedClip = 0;
    command(104);
    const ClipList rest = {both[1]};
    EXPECT_EQ(editState().clips, rest);
    command(106);
    EXPECT_EQ(editState().clips, both);
    command(122);
    EXPECT_EQ(editState().clips, rest);
    command(106);
    command(106);
    EXPECT_THAT(editState().clips, SizeIs(1));
    EXPECT_EQ(editState().clips[0].end, 10);
}

TEST_F(WindowCommandsTest, TheLastExportIsShownInItsFolder) {
    std::vector<std::wstring> shown;
    jobHost().showInFolder = [&](const std::wstring& path) {
        shown.push_back(path);
    };
    command(120);
    EXPECT_THAT(shown, IsEmpty());
    exportJob().lastExportPath = L"C:\\videos\\holiday-cut.mp4";
    command(120);
    EXPECT_THAT(shown, ElementsAre(L"C:\\videos\\holiday-cut.mp4"));
    editState().exportBusy = true;
    command(120);
    EXPECT_THAT(shown, SizeIs(1));
}

TEST_F(WindowCommandsTest, TheRecentVideosAreForgotten) {
    ui().recentFiles = {L"C:\\b.mp4", L"C:\\a.mp4"};
    command(419);
    EXPECT_THAT(ui().recentFiles, IsEmpty());
}

} // namespace
} // namespace velkantrix
