// Whole jobs with all their threads, cancelled at random moments: afterwards the disk holds what it
// should and nothing else. The sanitizers look for races.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/job_fixture.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

constexpr wchar_t OUT[] = L"e:\\out.mp4";
constexpr wchar_t SOURCE[] = L"d:\\v\\source.mkv";
constexpr wchar_t CLIPS[] = L"e:\\clips";

// A job by chance. Steps are those of the fake exports; a whole one of twelve clips has 48.
struct Round {
    bool separate = false;
    bool cancels = false;
    bool oldFiles = false;           // stand where the job writes
    std::uint32_t cancelAt = 0;      // steps
    std::uint32_t failingExport = 0; // counted from 1; 0: none fails
};

class ExportJobThreads : public ExportJobTest {
protected:
    ExportJobThreads() {
        recorder.keepsStates = false;
        world.onStep = [this] {
            ++steps;
            std::this_thread::yield();
        };
        world.onExport = [this](const ExportRequest& request, std::wstring* text) {
            if (++exports != round.failingExport) return world.exportInSteps(request, text);
            *text = L"by chance";
            return false;
        };
    }

    static std::wstring clipPath(std::size_t i) {
        return std::wstring(CLIPS) + L"\\" + clipFileName(L"", i);
    }

    void choose(RandomChoices& choices) {
        round = {.separate = choices.percent(60),
                 .cancels = choices.percent(70),
                 .oldFiles = choices.percent(50),
                 .cancelAt = choices.between(0, 40),
                 .failingExport = choices.percent(20) ? choices.between(1, 12) : 0};
        state.clips = ClipList(choices.between(1, 12), clip(1, 2));
        if (choices.percent(20)) state.clips = {clip(0, 10)};
        steps = 0;
        exports = 0;
        world.disk.clear();
        world.disk.put(SOURCE, L"source");
        if (!round.oldFiles) return;
        world.disk.put(OUT, L"old");
        for (std::size_t i = 0; i < state.clips.size(); i++) world.disk.put(clipPath(i), L"old");
    }

    // As the window does it, whatever the workers are at.
    void run() {
        exportTo(round.separate ? CLIPS : OUT, round.separate);
        if (round.cancels) {
            ASSERT_TRUE(becomesTrue([&] { return steps >= round.cancelAt || world.hasEnded(); }));
            refreshExportProgress();
            exportAsCommand();
            refreshExportProgress();
            ASSERT_EQ(state.statusText, L"Cancelling…");
        }
        endJob();
    }

    void checkJoined() {
        const bool succeeded = state.statusText.starts_with(L"Export complete");
        const std::optional<std::wstring> written = world.disk.content(OUT);
        if (succeeded) {
            const bool copied = state.clips.front().end == 10;
            ASSERT_EQ(written, copied ? L"source" : L"complete");
            return;
        }
        ASSERT_EQ(written, round.oldFiles ? std::optional<std::wstring>(L"old") : std::nullopt);
        ASSERT_EQ(world.disk.content(OUT + std::wstring(L".tmp")), std::nullopt);
        ASSERT_EQ(job.lastExportPath, L"");
    }

    void checkSeparate() {
        const bool succeeded = state.statusText.starts_with(L"Export complete");
        for (std::size_t i = 0; i < state.clips.size(); i++) {
            const std::optional<std::wstring> written = world.disk.content(clipPath(i));
            ASSERT_NE(written, L"partial");
            ASSERT_TRUE(written || !round.oldFiles) << "the old one or the new one stands there";
            ASSERT_EQ(world.disk.content(clipPath(i) + L".tmp"), std::nullopt);
            ASSERT_TRUE(!succeeded || written == L"complete");
        }
        ASSERT_EQ(job.lastExportPath, CLIPS);
    }

    Round round;
    std::atomic<std::uint32_t> steps{0};
    std::atomic<std::uint32_t> exports{0};
};

TEST_F(ExportJobThreads, LeaveOnlyWhatIsCompleteWheneverTheyAreCancelled) {
    RandomChoices choices(36);
    const std::uint64_t rounds = propertyRounds(500);
    for (std::uint64_t i = 0; i < rounds; i++) {
        SCOPED_TRACE(i);
        choose(choices);
        run();
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_FALSE(state.exportBusy);
        ASSERT_EQ(world.disk.content(SOURCE), L"source");
        // A cancel that comes when an old file has been replaced is none.
        const bool mayComeTooLate = round.oldFiles && !round.separate;
        if (!round.cancels || !mayComeTooLate) {
            ASSERT_EQ(state.statusText == L"Export cancelled", round.cancels);
        }
        if (round.separate)
            checkSeparate();
        else
            checkJoined();
        ASSERT_FALSE(HasFatalFailure());
    }
}

} // namespace
} // namespace velkantrix
