// cut_job.h: the job that velkantrix-cut's arguments ask for.
#pragma once

#include <string>
#include <vector>

#include "export/export_job_worker.h"
#include "tools/velkantrix-cut/cut_arguments.h"

namespace velkantrix {

// All but its calls. Nothing is copied as a whole file: what was asked for is done.
[[nodiscard]] ExportJob cutJob(const CutArguments& arguments, const std::vector<ExportSpan>& spans);

// What the user is told before it begins, or empty: that it isn't lossless though that was asked.
[[nodiscard]] std::wstring noteBefore(const ExportJob& job);

// The files that it writes, in the order of its parts.
[[nodiscard]] std::vector<std::wstring> outputsOf(const ExportJob& job);

// Why it failed, in words, from what its workers have left.
[[nodiscard]] std::wstring reasonOfFailure(SharedJobState& shared) EXCLUDES(shared.exportErrorLock);

} // namespace velkantrix
