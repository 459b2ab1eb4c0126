// Saves over files with more tracks than the new file has.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "export/job_texts.h"
#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr wchar_t LOSS[] =
    L"loss?: \"source.mkv\" has 3 tracks; only the first video and the first sound track are kept. "
    L"The other one would be lost: more sound, subtitles or other data.\n\nGo on without it?";

class SaveOfManyTracks : public SaveTest {
protected:
    SaveOfManyTracks() { tracks = TrackCount{.all = 3, .video = 1, .sound = 2}; }

    // Of what was asked, the kinds of the questions.
    std::vector<std::wstring> asked() {
        std::vector<std::wstring> kinds;
        for (const std::wstring& what : said) {
            const std::size_t end = what.find(L"?:");
            if (end != std::wstring::npos) kinds.push_back(what.substr(0, end));
        }
        return kinds;
    }
};

TEST(TracksLeftOut, AreAllButTheFirstOfVideoAndOfSound) {
    EXPECT_EQ(tracksLeftOut({}), 0u);
    EXPECT_EQ(tracksLeftOut({.all = 1, .video = 1}), 0u);
    EXPECT_EQ(tracksLeftOut({.all = 2, .video = 1, .sound = 1}), 0u);
    EXPECT_EQ(tracksLeftOut({.all = 3, .video = 1, .sound = 2}), 1u);
    EXPECT_EQ(tracksLeftOut({.all = 2, .video = 1}), 1u) << "subtitles";
    EXPECT_EQ(tracksLeftOut({.all = 7, .video = 2, .sound = 3}), 5u);
    EXPECT_EQ(tracksLeftOut({.all = 1, .video = 3, .sound = 3}), 0u) << "odd counts";
}

TEST(TracksQuestion, NamesTheirNumber) {
    EXPECT_EQ(
        tracksQuestion(L"a.mp4", 5, 3),
        L"\"a.mp4\" has 5 tracks; only the first video and the first sound track are kept. The "
        L"other 3 would be lost: more sound, subtitles or other data.\n\nGo on without them?");
}

TEST_F(SaveOfManyTracks, AsksBeforeItReplaces) {
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"loss", L"warning"));
    EXPECT_EQ(said[1], LOSS) << "after the claim";
    EXPECT_TRUE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, AnsweredNoDoesNothing) {
    answer = false;
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"loss"));
    EXPECT_FALSE(state.exportBusy);
    EXPECT_TRUE(claimed.empty());
}

TEST_F(SaveOfManyTracks, BothQuestionsMustBeAnsweredYes) {
    whileAsked = [this] {
        answer = false; // to what comes next
    };
    answers = {true};
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"loss", L"warning"));
    EXPECT_FALSE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, AnotherVideoBehindTheQuestionIsNotAskedAbout) {
    whileAsked = [] {
        openState().path = L"D:\\v\\other.mkv";
    };
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"loss"));
    EXPECT_FALSE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, OptimiseAsksToo) {
    openState().slowToSeek = false;
    optimiseCommand();
    EXPECT_THAT(asked(), ElementsAre(L"question", L"loss", L"information"));
    EXPECT_TRUE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, AnExportOntoTheSourceAsksToo) {
    world.chosen = ORIGINAL;
    exportAsCommand();
    EXPECT_THAT(asked(), ElementsAre(L"loss", L"warning"));
}

TEST_F(SaveOfManyTracks, AnUneditedSourceIsCopiedWithAllOfThem) {
    load(10, {clip(0, 10)});
    confirmSaveInPlace();
    EXPECT_THAT(asked(), ElementsAre(L"warning"));
}

TEST_F(SaveOfManyTracks, WhereNothingIsLeftOutOrKnownNothingIsAsked) {
    for (const std::optional<TrackCount>& count :
         {std::optional(TrackCount{.all = 2, .video = 1, .sound = 1}), std::optional(TrackCount{}),
          std::optional<TrackCount>()}) {
        tracks = count;
        answer = false;
        said.clear();
        saveCommand();
        EXPECT_THAT(asked(), ElementsAre(L"warning"));
    }
}

} // namespace
} // namespace velkantrix
