// save_world.h: stands for the disk, the boxes and the engine around saves in place. A file's stamp
// is the length of its content, so that other contents are other files.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "edit/open_flow.h"
#include "export/save_in_place.h"
#include "export/save_swap.h"
#include "tests/support/job_fixture.h"

namespace velkantrix {

inline constexpr wchar_t ORIGINAL[] = L"D:\\v\\source.mp4";
inline constexpr wchar_t TEMPORARY[] = L"D:\\v\\source.mp4.velkantrix-tmp";

class SaveTest : public ExportJobTest {
protected:
    SaveTest() {
        saveHost() = makeHost();
        openHost() = makeOpenHost();
        bindSaveInPlace();
        world.disk.put(ORIGINAL, L"source");
        OpenState& open = openState();
        open.path = ORIGINAL;
        open.displayName = L"source.mp4";
        open.fileSize = 1'000 * MIB;
        open.stamp = *stampOf(ORIGINAL);
        open.slowToSeek = true;
    }
    ~SaveTest() override {
        endRunningJob();
        saveHost() = {};
        openHost() = {};
    }

    static constexpr std::uint64_t MIB = 1 << 20;

    std::optional<FileStamp> stampOf(const std::wstring& path) {
        const std::optional<std::wstring> content = world.disk.content(path);
        if (!content) return std::nullopt;
        return FileStamp{.size = content->size(), .time = 1};
    }

    void note(const std::wstring& what) { said.push_back(what); }

    std::function<bool(const std::wstring&)> question(const wchar_t* kind) {
        return [this, kind](const std::wstring& text) {
            note(std::wstring(kind) + L": " + text);
            if (const auto act = std::exchange(whileAsked, nullptr)) act();
            return answers.empty() ? answer : std::exchange(answers, {}).front();
        };
    }

    SaveHost makeHost() {
        SaveHost host;
        host.confirmWarning = question(L"warning?");
        host.countTracks = [this] {
            return tracks;
        };
        host.confirmDoubt = question(L"question?");
        host.confirmInformation = question(L"information?");
        host.showWarning = [this](const std::wstring& text) {
            note(L"warning: " + text);
        };
        host.pathBehindLink = [this](const std::wstring& path) -> std::optional<std::wstring> {
            if (lostLinks.contains(path)) return std::nullopt;
            return links.contains(path) ? links[path] : path;
        };
        host.lookAt = [this](const std::wstring& path) -> FileLook {
            if (onLook) onLook(path);
            if (world.clock < awayUntil) return {.found = FileLook::Found::Unknown, .error = 64};
            const std::optional<FileStamp> stamp = stampOf(path);
            if (!stamp) return {.found = FileLook::Found::Nothing};
            return {.found = FileLook::Found::File, .stamp = *stamp, .readOnly = readOnly};
        };
        host.markOf = [this](const std::wstring& path) {
            return world.clock < awayUntil ? std::wstring() : world.disk.mark(path);
        };
        host.freeBytes = [this](const std::wstring& folder) {
            lookedIn = folder;
            return free;
        };
        host.errorText = [](SystemError error) {
            return L"error " + std::to_wstring(error);
        };
        host.claim = [this](const std::wstring& path) {
            if (claimError) return Claim{.outcome = Claim::Outcome::Failed, .error = claimError};
            if (!claimed.insert(path).second) return Claim{.outcome = Claim::Outcome::Taken};
            note(L"claim " + path);
            mine = path;
            return Claim{.outcome = Claim::Outcome::Held};
        };
        host.release = [this] {
            note(L"release");
            claimed.erase(mine);
        };
        host.askMayReplace = [this](const std::wstring&, std::size_t more) {
            EXPECT_EQ(more, 15u) << "the length of the ending";
            return mayReplace;
        };
        host.clearTemporary = [this](const std::wstring& path) {
            note(L"clear " + path);
            if (!mayClear) world.disk.remove(path);
            return mayClear;
        };
        bindSwap(host);
        return host;
    }

    void bindSwap(SaveHost& host) {
        host.stateKey = [this](const std::wstring& path) {
            return L"key of " + world.disk.content(path).value_or(L"nothing");
        };
        host.forgetState = [this](const std::wstring& key) {
            note(L"forget " + key);
        };
        host.letGoOfFile = [this] {
            note(L"let go");
            if (onLetGo) onLetGo();
        };
        host.isFileHeld = [this] {
            return world.clock < heldUntil;
        };
        host.wait = [this](std::uint32_t milliseconds) {
            EXPECT_GT(milliseconds, 0u);
            EXPECT_LE(milliseconds, 100u) << "the window waits";
            world.clock += milliseconds;
        };
        host.replaceOriginal = [this](const std::wstring& original, const std::wstring& temporary) {
            note(L"replace");
            return onReplace ? onReplace(original, temporary) : swap(temporary, original);
        };
        host.moveOver = [this](const std::wstring& temporary, const std::wstring& original) {
            note(L"move");
            return onMove ? onMove(temporary, original) : swap(temporary, original);
        };
        host.moveToFreeName = [this](const std::wstring& temporary, const std::wstring& original) {
            note(L"move to free name");
            if (world.disk.content(original)) return SystemError{183};
            return onMove ? onMove(temporary, original) : swap(temporary, original);
        };
    }

    SystemError swap(const std::wstring& from, const std::wstring& to) {
        return world.disk.move(from, to) ? 0 : 2;
    }

    OpenHost makeOpenHost() {
        OpenHost host;
        const auto nothing = [] {
        };
        host.beep = nothing;
        host.startMedia = [] {
            return true;
        };
        host.confirm = [this](const std::wstring& text) {
            note(L"open?: " + text);
            return false;
        };
        host.showError = [this](const std::wstring& text) {
            note(L"error: " + text);
        };
        host.absolutePath = [](const std::wstring& path) {
            return path;
        };
        host.examineFile = [this](const std::wstring& path) {
            return ExaminedFile{
                .size = 8, .slowToSeek = false, .stamp = stampOf(path).value_or(FileStamp{})};
        };
        host.storeFileState = [this] {
            const std::wstring key = saveHost().stateKey(openState().path);
            note(L"store under " + key);
            stored[key] = state.playhead;
        };
        host.storedPlayhead = [this]() -> std::optional<double> {
            const auto found = stored.find(saveHost().stateKey(openState().path));
            return found == stored.end() ? std::nullopt : std::optional(found->second);
        };
        for (auto* const call :
             {&host.restoreZoom, &host.addRecent, &host.dropGestures, &host.stopPeaks,
              &host.resetExposure, &host.hideVideo, &host.repaint, &host.closeEngine, &host.play,
              &host.applyVolume, &host.leaveFullscreen, &host.sizeWindowToVideo, &host.layOut,
              &host.beginReveal})
            *call = nothing;
        host.restoreGeometry = [] {
            return false;
        };
        host.setTitle = [](const std::wstring&) {
        };
        host.openEngine = [this](const std::wstring& path) {
            note(L"open " + path);
            return EngineOpening{.begun = true};
        };
        host.engineDuration = [this] {
            return newDuration;
        };
        host.engineVideoSize = [] {
            return VideoSize{640, 360};
        };
        return host;
    }

    bool waitForEnd() {
        hasEnded = true;
        return ExportJobTest::waitForEnd();
    }

    void endRunningJob() {
        const bool runs = state.exportBusy && !hasEnded && !job.lastExportPath.empty();
        job.exportCancel = runs;
        EXPECT_TRUE(!runs || world.waitForEnd()) << "the job goes on";
        state.exportBusy = false;
    }

    // A save, or what `command` begins, up to the end of its job; what was said until then is
    // forgotten.
    bool runJob(void (*command)() = saveCommand) {
        command();
        EXPECT_TRUE(state.exportBusy);
        if (!state.exportBusy) return false;
        const bool success = waitForEnd();
        said.clear();
        return success;
    }

    std::vector<std::wstring> said; // what was asked of the save's world, in order
    std::vector<bool> answers;      // to the next question; then `answer`
    bool answer = true;
    std::function<void()> whileAsked;
    std::map<std::wstring, std::wstring> links;
    std::set<std::wstring> lostLinks;
    bool readOnly = false;
    std::optional<std::uint64_t> free;
    std::wstring lookedIn;
    TracksOfSource tracks;
    std::set<std::wstring> claimed;
    std::wstring mine;
    SystemError mayReplace = 0, mayClear = 0;
    SystemError claimError = 0;
    std::uint64_t heldUntil = 0; // by a worker of ours
    std::uint64_t awayUntil = 0; // the server of all files
    std::function<void(const std::wstring&)> onLook;
    std::function<void()> onLetGo;
    std::function<SystemError(const std::wstring&, const std::wstring&)> onReplace, onMove;
    std::map<std::wstring, double> stored; // playheads
    double newDuration = 6;
    bool hasEnded = false; // the job
};

} // namespace velkantrix
