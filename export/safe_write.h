// safe_write.h: how an export comes to stand under its name without costing anybody a file: neither
// the source, nor what stood there before.
#pragma once

#include <atomic>
#include <functional>
#include <string>

namespace velkantrix {

// A complete file that is to replace another.
struct FinishedFile {
    bool done = false;
    std::wstring errorText; // when not done
    std::wstring mark;      // tells it from every other file; empty only when not done
};

// What writing asks of the file system, by two threads at once. None is empty.
struct SafeWriteCalls {
    // Do both mean one file, by whatever names?
    std::function<bool(const std::wstring& a, const std::wstring& b)> sameFile;
    // Unless it is `kept` after all.
    std::function<void(const std::wstring& path, const std::wstring& kept)> deleteFile;
    // The target itself while nothing stands there, else a name beside it that nothing has.
    std::function<std::wstring(const std::wstring& target)> nameToWrite;
    // Why the file that stands there, if any, can't be replaced, as far as can be told before; or
    // empty.
    std::function<std::wstring(const std::wstring& target)> whyNotReplaced;
    // Puts a complete file in the place of another, unless that is `kept`. Empty when done, else
    // the reason; then both are as they were.
    std::function<std::wstring(const std::wstring& path, const std::wstring& target,
                               const std::wstring& kept)>
        replaceFile;
    // Brings a complete file onto the disk itself. Not done where it is cancelled meanwhile.
    std::function<FinishedFile(const std::wstring& path, const std::atomic<bool>& cancel)>
        finishFile;
    // Only if it is still the file of that mark. False: that file is still there.
    std::function<bool(const std::wstring& path, const std::wstring& mark)> deleteFinished;
    // Gives a complete file that couldn't take the target's place a name like the target's, and
    // says so to the user.
    std::function<std::wstring(const std::wstring& path, const std::wstring& target)> keepBeside;
};

struct Written {
    bool done = false;
    std::wstring errorText;    // of one that isn't done; may be empty
    bool replacesFile = false; // another one stood there
    bool kept = false;         // not done, but complete, and beside the target: the text says where
    std::wstring mark;         // of a temporary file that is complete, also where it isn't done
    bool unmarked = false;     // not done, but complete, and can't be told from others: it stays
};

// Writes `target` by `write`, which gets the name that it is to write and leaves nothing there when
// it fails, as far as others let it. The source is refused as a target. Where a file stands
// already, the new one is written beside it and takes its place when it is complete: one that fails
// or is cancelled costs nobody the file that he has.
[[nodiscard]] Written writeSafely(const SafeWriteCalls& calls, const std::wstring& source,
                                  const std::wstring& target, const std::atomic<bool>& cancel,
                                  const std::function<Written(const std::wstring& path)>& write);

// Likewise, by a name that is the job's own: nothing that stands there is to be kept. Done it is
// only when the file is on the disk; one that is complete and doesn't get there is left as well:
// who knows what has become of the original decides about it.
[[nodiscard]] Written writeTemporary(const SafeWriteCalls& calls, const std::wstring& source,
                                     const std::wstring& temporary, const std::atomic<bool>& cancel,
                                     const std::function<Written(const std::wstring& path)>& write);

} // namespace velkantrix
