#include "tools/velkantrix-cut/cut_job.h"

#include <cstddef>

#include "export/job_rules.h"
#include "export/job_texts.h"

namespace velkantrix {

ExportJob cutJob(const CutArguments& arguments, const std::vector<ExportSpan>& spans) {
    ExportJob job;
    job.clips.reserve(spans.size());
    for (const ExportSpan& span : spans) {
        job.clips.push_back({.start = span.start,
                             .end = span.end,
                             .name = {},
                             .fadeIn = span.fadeIn,
                             .fadeOut = span.fadeOut});
    }
    job.sourcePath = arguments.input;
    job.outputPath = arguments.output;
    job.expected = totalSeconds(spans);
    job.kind = {.separate = arguments.separate,
                .quality = arguments.quality,
                .exposure = arguments.exposure,
                .rewrite = true};
    return job;
}

std::wstring noteBefore(const ExportJob& job) {
    if (job.kind.quality != QUALITY_LOSSLESS || isLosslessAllowed(job.clips, job.kind)) return {};
    return L"Fades and exposure can't be copied: encoding anew, at the source's size.";
}

std::vector<std::wstring> outputsOf(const ExportJob& job) {
    if (!job.kind.separate) return {job.outputPath};
    std::vector<std::wstring> outputs;
    outputs.reserve(job.clips.size());
    for (std::size_t i = 0; i < job.clips.size(); i++)
        outputs.push_back(pathInFolder(job.outputPath, clipFileName(job.clips[i].name, i)));
    return outputs;
}

std::wstring reasonOfFailure(SharedJobState& shared) {
    const Lock held(shared.exportErrorLock);
    if (!shared.exportError.empty()) return shared.exportError;
    return shared.exportCancel ? EXPORT_CANCELLED : COULD_NOT_ENCODE;
}

} // namespace velkantrix
