// Where the playhead stands after a save.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

using PlayheadAfterSave = SaveTest;

TEST_F(PlayheadAfterSave, ThePlayheadIsOverTheSamePicture) {
    state.playhead = 6; // a second into the second clip
    finishExport(runJob());
    EXPECT_EQ(stored[L"key of complete"], 3);
    engineReady();
    EXPECT_EQ(state.playhead, 3);
}

TEST_F(PlayheadAfterSave, APlayheadOverWhatIsGoneGoesToWhatComesNext) {
    state.playhead = 4;
    finishExport(runJob());
    engineReady();
    EXPECT_EQ(state.playhead, 2);
}

TEST_F(PlayheadAfterSave, APlayheadBehindAllThatIsKeptBeginsAtTheBeginning) {
    state.playhead = 9.5;
    finishExport(runJob());
    EXPECT_EQ(stored[L"key of complete"], 6);
    engineReady();
    EXPECT_EQ(state.playhead, 0);
}

TEST_F(PlayheadAfterSave, AnOptimisedFileKeepsItsPlayhead) {
    state.playhead = 6;
    newDuration = 10;
    finishExport(runJob(optimiseCommand));
    EXPECT_EQ(stored[L"key of complete"], 6);
    engineReady();
    EXPECT_EQ(state.playhead, 6);
    EXPECT_THAT(state.clips, ElementsAre(clip(0, 10)));
}

// A copy's clips begin with the keyframes before them: [0 3) and [4 9) of the edit's [1 3) [5 9).
TEST(PlayheadInACopy, IsOverTheSamePictureThoughClipsBeginEarlier) {
    const ClipList clips{clip(1, 3), clip(5, 9)};
    const std::vector<WrittenSpan> written{{.sourceStart = 0, .outputStart = 0},
                                           {.sourceStart = 4, .outputStart = 3}};
    EXPECT_EQ(playheadAfterSave(clips, 1, written), 1);
    EXPECT_EQ(playheadAfterSave(clips, 2.5, written), 2.5);
    EXPECT_EQ(playheadAfterSave(clips, 5, written), 4);
    EXPECT_EQ(playheadAfterSave(clips, 8, written), 7);
}

TEST(PlayheadInACopy, OverWhatIsGoneGoesToWhereTheNextClipWasAskedToBegin) {
    const ClipList clips{clip(1, 3), clip(5, 9)};
    const std::vector<WrittenSpan> written{{.sourceStart = 0.5, .outputStart = 0},
                                           {.sourceStart = 4, .outputStart = 2.5}};
    EXPECT_EQ(playheadAfterSave(clips, 0, written), 0.5);
    EXPECT_EQ(playheadAfterSave(clips, 3, written), 3.5);
    EXPECT_EQ(playheadAfterSave(clips, 9.5, written), 6) << "behind all: the edit's length";
}

// Where the video begins late the first picture stands for what is in front of it.
TEST(PlayheadInACopy, IsNeverInFrontOfItsClip) {
    const std::vector<WrittenSpan> written{{.sourceStart = 1.5, .outputStart = 0}};
    EXPECT_EQ(playheadAfterSave({clip(0, 9)}, 1, written), 0);
}

TEST(PlayheadInACopy, GoesByTheEditWhereNothingIsTold) {
    const ClipList clips{clip(1, 3), clip(5, 9)};
    EXPECT_EQ(playheadAfterSave(clips, 6, {}), 3);
    EXPECT_EQ(playheadAfterSave(clips, 6, {WrittenSpan{}}), 3) << "not of these clips";
}

TEST_F(PlayheadAfterSave, GoesByWhatTheJobHasCopied) {
    state.playhead = 6;
    world.onExport = [this](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"complete");
        for (const WrittenSpan& span : {WrittenSpan{0, 0, 3}, WrittenSpan{4.5, 3, 9}})
            request.spanWritten(span);
        return true;
    };
    finishExport(runJob());
    EXPECT_EQ(stored[L"key of complete"], 4.5);
}

TEST_F(PlayheadAfterSave, TheLastJobsCopyIsForgotten) {
    state.playhead = 6;
    {
        const Lock held(job.exportErrorLock);
        job.writtenSpans = {{}, {.sourceStart = 0, .outputStart = 3}};
    }
    finishExport(runJob());
    EXPECT_EQ(stored[L"key of complete"], 3);
}

} // namespace
} // namespace velkantrix
