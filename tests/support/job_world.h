// job_world.h: stands for the disk, the exports, the window and the user around a job. Files are
// names in memory. Everything that a job's threads call may be called by several at once.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cwctype>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "export/export_job_core.h"

namespace velkantrix {

inline constexpr std::chrono::seconds JOB_TIME_LIMIT{60};

// Passed by those who wait for it once it is open. Waiting has a limit: false after it.
class Gate {
public:
    void open() {
        const std::lock_guard held(lock_);
        open_ = true;
        changed_.notify_all();
    }
    [[nodiscard]] bool pass() {
        std::unique_lock held(lock_);
        return changed_.wait_for(held, JOB_TIME_LIMIT, [this] { return open_; });
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool open_ = false;
};

// Waits, no longer than the limit, for what no gate can tell.
inline bool becomesTrue(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + JOB_TIME_LIMIT;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::yield();
    }
    return true;
}

class FakeDisk {
public:
    // Into the file that stands there; else it is a new one.
    void put(const std::wstring& path, const std::wstring& content) {
        const std::lock_guard held(lock_);
        File& file = files_[key(path)];
        if (file.number == 0) file.number = ++lastNumber_;
        file.content = content;
    }

    // In the place of what stands there.
    bool move(const std::wstring& from, const std::wstring& to) {
        const std::lock_guard held(lock_);
        const auto found = files_.find(key(from));
        if (found == files_.end()) return false;
        const File moved = found->second;
        files_.erase(found);
        files_[key(to)] = moved;
        return true;
    }

    std::wstring mark(const std::wstring& path) const {
        const std::lock_guard held(lock_);
        const auto found = files_.find(key(path));
        if (found == files_.end()) return {};
        return L"file " + std::to_wstring(found->second.number) + L" of " + found->second.content;
    }

    // Another name of the same file.
    void link(const std::wstring& name, const std::wstring& path) {
        const std::lock_guard held(lock_);
        const std::wstring file = key(path);
        links_[lowered(name)] = file;
    }

    std::optional<std::wstring> content(const std::wstring& path) const {
        const std::lock_guard held(lock_);
        const auto found = files_.find(key(path));
        return found == files_.end() ? std::nullopt : std::optional(found->second.content);
    }

    std::vector<std::wstring> names() const {
        const std::lock_guard held(lock_);
        std::vector<std::wstring> all;
        for (const auto& file : files_) all.push_back(file.first);
        return all;
    }

    bool same(const std::wstring& a, const std::wstring& b) const {
        const std::lock_guard held(lock_);
        return key(a) == key(b);
    }

    void clear() {
        const std::lock_guard held(lock_);
        files_.clear();
        links_.clear();
    }

    void remove(const std::wstring& path) {
        const std::lock_guard held(lock_);
        files_.erase(key(path));
    }

private:
    static std::wstring lowered(std::wstring text) {
        for (wchar_t& c : text) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
        return text;
    }

    std::wstring key(const std::wstring& name) const {
        const auto link = links_.find(lowered(name));
        return link == links_.end() ? lowered(name) : link->second;
    }

    struct File {
        std::wstring content;
        int number = 0;
    };

    mutable std::mutex lock_;
    std::map<std::wstring, File> files_;
    std::map<std::wstring, std::wstring> links_;
    int lastNumber_ = 0;
};

struct JobWorld {
    FakeDisk disk;

    // The workers' side. Left empty, exports and copies behave as the real ones, in steps.
    std::function<bool(const ExportRequest&, std::wstring*)> onExport;
    std::function<CopyResult(const std::wstring&, const std::wstring&, const CopyProgress&)> onCopy;
    std::function<bool(const std::wstring&, const std::wstring&)> onSameFile;
    std::function<void()> onStep; // between two steps of an export or a copy
    std::wstring heldOpen;        // likewise, and that can be told before
    std::function<void()> onReplace, onKeep;
    std::wstring finishError; // not empty: what is complete doesn't get onto the disk
    std::function<void()> onFinish, onClaim;
    bool undeletable = false; // somebody has what is complete open
    bool unmarked = false;    // it can't be told from others
    VideoClaim claim;
    std::wstring replaceError; // not empty: no file can be replaced, for that reason

    // Answers of the UI thread's side.
    std::wstring chosen; // in the dialogs; empty: cancelled
    std::function<void()> whileChoosing;
    double exposure = 0;
    std::uint64_t clock = 1'000;
    bool foreground = true;
    bool swapWorks = true;

    // What the UI thread was asked, in order; and what the dialogs began with.
    std::vector<std::wstring> calls;
    std::wstring folder;
    OutputSuggestion suggestion;

    JobWorld() { disk.put(L"D:\\v\\source.mkv", L"source"); }
    ~JobWorld() { joinWorker(); }
    JobWorld(const JobWorld&) = delete;
    JobWorld& operator=(const JobWorld&) = delete;

    // What the job's threads asked, in order.
    std::vector<std::wstring> work() {
        const std::lock_guard held(lock_);
        return work_;
    }
    std::vector<ExportRequest> requests() {
        const std::lock_guard held(lock_);
        return requests_;
    }

    bool hasEnded() {
        const std::lock_guard held(lock_);
        return posted_.has_value();
    }

    // What the job posted when it ended; nothing when it didn't in time.
    std::optional<bool> waitForEnd() {
        std::unique_lock held(lock_);
        ended_.wait_for(held, JOB_TIME_LIMIT, [this] { return posted_.has_value(); });
        return std::exchange(posted_, std::nullopt);
    }

    // As the real one: makes the output, writes it in steps, takes it away when cancelled.
    bool exportInSteps(const ExportRequest& request, std::wstring* errorText) {
        constexpr int STEPS = 4;
        disk.put(request.outputPath, L"partial");
        const double total = totalSeconds(request.spans);
        for (int step = 1; step <= STEPS; step++) {
            if (onStep) onStep();
            if (request.cancel->load()) {
                disk.remove(request.outputPath);
                *errorText = L"Export cancelled";
                return false;
            }
            request.progress(total * step / STEPS);
        }
        disk.put(request.outputPath, L"complete");
        if (request.spanWritten) tellSpans(request);
        return true;
    }

    // As if each span had come out as it was asked for.
    static void tellSpans(const ExportRequest& request) {
        double output = 0;
        for (const ExportSpan& span : request.spans) {
            request.spanWritten({span.start, output, span.end, true});
            output += span.end - span.start;
        }
    }

    CopyResult copyInSteps(const std::wstring& source, const std::wstring& target,
                           const CopyProgress& progress) {
        constexpr std::uint64_t STEPS = 4;
        for (std::uint64_t step = 0; step <= STEPS; step++) {
            disk.put(target, L"partial");
            if (onStep) onStep();
            if (!progress(step, STEPS)) {
                disk.remove(target);
                return {.done = false, .errorText = L"The request was aborted."};
            }
        }
        disk.put(target, disk.content(source).value_or(L""));
        return {.done = true, .errorText = {}};
    }

    // The world must outlive the use of what it hands out.
    JobCalls jobCalls() {
        JobCalls jobs;
        jobs.exportFile = [this](const ExportRequest& request, std::wstring* errorText) {
            note(L"export " + request.outputPath);
            {
                const std::lock_guard held(lock_);
                requests_.push_back(request);
            }
            return onExport ? onExport(request, errorText) : exportInSteps(request, errorText);
        };
        jobs.copyFile = [this](const std::wstring& source, const std::wstring& target,
                               const CopyProgress& progress) {
            note(L"copy " + source + L" to " + target);
            return onCopy ? onCopy(source, target, progress)
                          : copyInSteps(source, target, progress);
        };
        jobs.sameFile = [this](const std::wstring& a, const std::wstring& b) {
            return onSameFile ? onSameFile(a, b) : disk.same(a, b);
        };
        jobs.deleteFile = [this](const std::wstring& path, const std::wstring& kept) {
            note(L"delete " + path + L" unless " + kept);
            disk.remove(path); // also the kept one: nobody is to come so far
        };
        jobs.nameToWrite = [this](const std::wstring& target) {
            return disk.content(target) ? target + L".tmp" : target;
        };
        jobs.whyNotReplaced = [this](const std::wstring& target) {
            return disk.content(target) ? heldOpen : std::wstring();
        };
        jobs.replaceFile = [this](const std::wstring& path, const std::wstring& target,
                                  const std::wstring& kept) {
            note(L"replace " + target + L" by " + path + L" unless " + kept);
            if (onReplace) onReplace();
            if (!replaceError.empty()) return replaceError;
            disk.put(target, disk.content(path).value_or(L"lost"));
            disk.remove(path);
            return std::wstring();
        };
        jobs.finishFile = [this](const std::wstring& path, const std::atomic<bool>& cancel) {
            note(L"finish " + path);
            if (onFinish) onFinish();
            const bool done = finishError.empty() && !cancel;
            return FinishedFile{
                .done = done, .errorText = finishError, .mark = unmarked ? L"" : disk.mark(path)};
        };
        jobs.deleteFinished = [this](const std::wstring& path, const std::wstring& mark) {
            note(L"delete " + path + L" if it is its own");
            const bool isOurs = disk.mark(path) == mark;
            if (isOurs && !undeletable) disk.remove(path);
            return !isOurs || !undeletable;
        };
        jobs.claimOfVideo = [this](const std::wstring&, const std::function<bool()>& cancelled) {
            if (onClaim) onClaim();
            return cancelled() ? VideoClaim() : claim;
        };
        jobs.keepBeside = [this](const std::wstring& path, const std::wstring& target) {
            note(L"keep " + path + L" beside " + target);
            if (onKeep) onKeep();
            return L"It was kept.";
        };
        jobs.postCompletion = [this](bool success) {
            const std::lock_guard held(lock_);
            posted_ = success;
            ended_.notify_all();
        };
        return jobs;
    }

    JobHost host() {
        JobHost host;
        host.calls = jobCalls();
        host.chooseExportFile = [this](const std::wstring& from, const OutputSuggestion& offered) {
            calls.push_back(L"chooseExportFile");
            folder = from;
            suggestion = offered;
            if (whileChoosing) whileChoosing();
            return chosen;
        };
        host.chooseOutputFolder = [this](const std::wstring& from) {
            calls.push_back(L"chooseOutputFolder");
            folder = from;
            if (whileChoosing) whileChoosing();
            return chosen;
        };
        host.now = [this] {
            return clock;
        };
        noteWindow(host);
        host.exposure = [this] {
            return exposure;
        };
        host.confirmSaveInPlace = [this] {
            calls.push_back(L"confirmSaveInPlace");
        };
        host.swapInSavedFile = [this] {
            calls.push_back(L"swapInSavedFile");
            return swapWorks;
        };
        return host;
    }

private:
    // Not detached, as the program's own is: mingw's runtime now and then loses the thread that is
    // started after one that ended while it was being detached.
    void joinWorker() {
        if (worker_.joinable()) worker_.join();
    }

    void note(const std::wstring& what) {
        const std::lock_guard held(lock_);
        work_.push_back(what);
    }

    void noteWindow(JobHost& host) {
        host.setTimer = [this](std::uint32_t milliseconds) {
            calls.push_back(L"timer " + std::to_wstring(milliseconds));
        };
        host.setTaskbarState = [this](bool runs) {
            calls.push_back(runs ? L"taskbar normal" : L"taskbar none");
        };
        host.setTaskbarValue = [this](std::uint32_t thousandths) {
            calls.push_back(L"taskbar " + std::to_wstring(thousandths));
        };
        host.startThread = [this](std::function<void()> body) {
            joinWorker();
            worker_ = std::thread(std::move(body));
        };
        host.keepAwake = [this](bool awake) {
            calls.push_back(awake ? L"awake" : L"may sleep");
        };
        host.isForeground = [this] {
            return foreground;
        };
        host.flash = [this] {
            calls.push_back(L"flash");
        };
        host.showError = [this](const std::wstring& text) {
            calls.push_back(L"error: " + text);
        };
        host.showInFolder = [this](const std::wstring& path) {
            calls.push_back(L"show " + path);
        };
        host.closeWindow = [this] {
            calls.push_back(L"close");
        };
    }

    std::mutex lock_;
    std::condition_variable ended_;
    std::vector<std::wstring> work_;
    std::vector<ExportRequest> requests_;
    std::optional<bool> posted_;
    std::thread worker_;
};

} // namespace velkantrix
