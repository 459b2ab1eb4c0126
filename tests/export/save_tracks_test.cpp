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
    L"warning?: \"source.mp4\" has 3 tracks; only the first video and the first sound track are "
    L"kept. "
    L"The other one would be lost: more sound, subtitles or other data.\n\nGo on without it?";

class SaveOfManyTracks : public SaveTest {
protected:
    SaveOfManyTracks() {
        const TrackCount count{.all = 3, .video = 1, .sound = 2};
        tracks = {.inFile = count, .offered = count};
        state.edited = false; // or optimising asks once more
    }

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

std::uint32_t leftOutOf(const TrackCount& both) {
    return tracksLeftOut({.inFile = both, .offered = both});
}

TEST(TracksLeftOut, AreAllButTheFirstOfVideoAndOfSound) {
    EXPECT_EQ(leftOutOf({}), 0u);
    EXPECT_EQ(leftOutOf({.all = 1, .video = 1}), 0u);
    EXPECT_EQ(leftOutOf({.all = 2, .video = 1, .sound = 1}), 0u);
    EXPECT_EQ(leftOutOf({.all = 3, .video = 1, .sound = 2}), 1u);
    EXPECT_EQ(leftOutOf({.all = 2, .video = 1}), 1u) << "subtitles";
    EXPECT_EQ(leftOutOf({.all = 7, .video = 2, .sound = 3}), 5u);
    EXPECT_EQ(leftOutOf({.all = 1, .video = 3, .sound = 3}), 0u) << "odd counts";
}

TEST(TracksLeftOut, AreAlsoThoseThatExportsAreNotOffered) {
    const TrackCount pair{.all = 2, .video = 1, .sound = 1}, video{.all = 1, .video = 1};
    EXPECT_EQ(tracksLeftOut({.inFile = pair, .offered = video}), 1u);
    EXPECT_EQ(tracksLeftOut({.inFile = video, .offered = pair}), 0u);
    EXPECT_EQ(tracksLeftOut({.inFile = pair}), 0u) << "what is offered isn't known";
    EXPECT_EQ(tracksLeftOut({.offered = TrackCount{.all = 3, .video = 1, .sound = 1}}), 1u);
    EXPECT_EQ(tracksLeftOut({}), 0u);
}

TEST(TracksQuestion, NamesTheirNumber) {
    EXPECT_EQ(
        tracksQuestion(L"a.mp4", 5, 3, true),
        L"\"a.mp4\" has 5 tracks; only the first video and the first sound track are kept. The "
        L"other 3 would be lost: more sound, subtitles or other data.\n\nGo on without them?");
}

TEST(TracksQuestion, DoesNotSayThatSoundIsKeptWhereNoneIs) {
    EXPECT_EQ(
        tracksQuestion(L"a.mp4", 2, 1, false),
        L"\"a.mp4\" has 2 tracks; only the first video track is kept. The other one would be "
        L"lost: sound that Windows can't read, subtitles or other data.\n\nGo on without it?");
    EXPECT_EQ(tracksQuestion(L"a.mp4", 1, 1, false).find(L"\"a.mp4\" has 1 track; "), 0u);
}

TEST_F(SaveOfManyTracks, TheOnlySoundIsNotLeftOutUnasked) {
    tracks = {.inFile = TrackCount{.all = 2, .video = 1, .sound = 1},
              .offered = TrackCount{.all = 1, .video = 1}};
    saveCommand();
    EXPECT_THAT(said[1], HasSubstr(L"has 2 tracks; only the first video track is kept."));
}

TEST_F(SaveOfManyTracks, AsksBeforeItReplaces) {
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"warning", L"warning"));
    EXPECT_EQ(said[1], LOSS) << "after the claim";
    EXPECT_TRUE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, AnsweredNoDoesNothing) {
    answer = false;
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"warning"));
    EXPECT_FALSE(state.exportBusy);
    EXPECT_TRUE(claimed.empty());
}

TEST_F(SaveOfManyTracks, BothQuestionsMustBeAnsweredYes) {
    whileAsked = [this] {
        answer = false; // to what comes next
    };
    answers = {true};
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"warning", L"warning"));
    EXPECT_FALSE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, AnotherVideoBehindTheQuestionIsNotAskedAbout) {
    whileAsked = [] {
        openState().path = L"D:\\v\\other.mp4";
    };
    saveCommand();
    EXPECT_THAT(asked(), ElementsAre(L"warning"));
    EXPECT_FALSE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, OptimiseAsksToo) {
    openState().slowToSeek = false;
    optimiseCommand();
    EXPECT_THAT(asked(), ElementsAre(L"question", L"warning", L"information"));
    EXPECT_TRUE(state.exportBusy);
}

TEST_F(SaveOfManyTracks, AnExportOntoTheSourceAsksToo) {
    world.chosen = ORIGINAL;
    exportAsCommand();
    EXPECT_THAT(asked(), ElementsAre(L"warning", L"warning"));
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
        tracks = {.inFile = count, .offered = count};
        answer = false;
        said.clear();
        saveCommand();
        EXPECT_THAT(asked(), ElementsAre(L"warning"));
    }
}

} // namespace
} // namespace velkantrix
