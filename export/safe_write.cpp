#include "export/safe_write.h"

#include "export/job_texts.h"

namespace velkantrix {

Written writeSafely(const SafeWriteCalls& calls, const std::wstring& source,
                    const std::wstring& target, const std::atomic<bool>& cancel,
                    const std::function<Written(const std::wstring& path)>& write) {
    // Asked before anything is created or replaced.
    if (calls.sameFile(source, target)) return {.errorText = WOULD_OVERWRITE_SOURCE};
    const std::wstring path = calls.nameToWrite(target);
    if (path == target) return write(path);
    // Told now, not when an hour's work is done.
    const std::wstring problem = calls.whyNotReplaced(target);
    if (!problem.empty()) return {.errorText = problem};
    Written written = write(path);
    written.replacesFile = true;
    if (!written.done) return written;
    const std::wstring reason = cancel ? EXPORT_CANCELLED : calls.replaceFile(path, target, source);
    if (reason.empty()) return written;
    written.done = false;
    if (cancel) { // maybe only while it tried to replace the old one
        calls.deleteFile(path, source);
        written.errorText = EXPORT_CANCELLED;
    } else { // an hour's work isn't lost for somebody who has the old one open
        written.errorText = reason + L"\n\n" + calls.keepBeside(path, target);
        written.kept = true;
    }
    return written;
}

Written writeTemporary(const SafeWriteCalls& calls, const std::wstring& source,
                       const std::wstring& temporary, const std::atomic<bool>& cancel,
                       const std::function<Written(const std::wstring& path)>& write) {
    if (calls.sameFile(source, temporary)) return {.errorText = WOULD_OVERWRITE_SOURCE};
    Written written = write(temporary);
    if (!written.done) return written;
    const FinishedFile finished = calls.finishFile(temporary, cancel);
    written.mark = finished.mark;
    if (finished.done) return written;
    written.done = false;
    written.errorText = finished.errorText;
    written.unmarked = finished.mark.empty(); // it goes with the next save
    return written;
}

} // namespace velkantrix
