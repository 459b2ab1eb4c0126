#include "tools/velkantrix-cut/cut_job.h"

#include <algorithm>
#include <functional>
#include <utility>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

const std::vector<ExportSpan> SPANS = {{.start = 1, .end = 3, .fadeIn = 0.5, .fadeOut = 1},
                                       {.start = 2, .end = 2.5, .fadeIn = 0, .fadeOut = 0}};

CutArguments arguments() {
    return {.input = L"D:\\in.mp4", .output = L"D:\\out.mp4"};
}

ExportJob jobOf(std::int32_t quality, double exposure, bool separate,
                const std::vector<ExportSpan>& spans = SPANS) {
    CutArguments asked = arguments();
    asked.quality = quality;
    asked.exposure = exposure;
    asked.separate = separate;
    return cutJob(asked, spans);
}

TEST(CutJob, HasAllThatWasAsked) {
    const ExportJob job = jobOf(3, -0.5, false);
    EXPECT_EQ(job.sourcePath, L"D:\\in.mp4");
    EXPECT_EQ(job.outputPath, L"D:\\out.mp4");
    EXPECT_EQ(job.clips, (ClipList{{1, 3, L"", 0.5, 1}, {2, 2.5, L"", 0, 0}}));
    EXPECT_DOUBLE_EQ(job.expected, 2.5);
    EXPECT_EQ(job.kind.quality, 3);
    EXPECT_DOUBLE_EQ(job.kind.exposure, -0.5);
    EXPECT_FALSE(job.kind.separate);
    EXPECT_TRUE(jobOf(0, 0, true).kind.separate);
}

TEST(CutJob, AWholeVideoIsNotCopiedAsAFile) {
    for (const std::int32_t quality : {0, 1}) {
        const ExportJob job = jobOf(quality, 0, false, {{.start = 0, .end = 10}});
        EXPECT_FALSE(isCopyOnly(job.clips, 10, job.kind));
    }
}

TEST(NoteBefore, SaysWhenLosslessIsNotMeant) {
    const std::wstring note =
        L"Fades and exposure can't be copied: encoding anew, at the source's size.";
    const std::vector<ExportSpan> plain = {{.start = 1, .end = 3}};
    EXPECT_EQ(noteBefore(jobOf(0, 0, false)), note);
    EXPECT_EQ(noteBefore(jobOf(0, 0.5, false, plain)), note);
    EXPECT_EQ(noteBefore(jobOf(0, 0.5, true, plain)), note);
    EXPECT_EQ(noteBefore(jobOf(0, 0, false, plain)), L"");
    EXPECT_EQ(noteBefore(jobOf(0, 0, true, plain)), L"");
    EXPECT_EQ(noteBefore(jobOf(1, 0.5, false)), L"");
}

TEST(OutputsOf, AreNumberedInTheFolder) {
    EXPECT_EQ(outputsOf(jobOf(0, 0, false)), std::vector<std::wstring>{L"D:\\out.mp4"});
    ExportJob job = jobOf(1, 0, true);
    job.outputPath = L"D:\\clips\\";
    EXPECT_EQ(outputsOf(job),
              (std::vector<std::wstring>{L"D:\\clips\\clip-01.mp4", L"D:\\clips\\clip-02.mp4"}));
}

// Calls for a job whose files exist nowhere; `exportFile` stands for the export.
ExportJob jobWith(bool separate,
                  std::function<bool(const ExportRequest&, std::wstring*)> exportFile) {
    ExportJob job = jobOf(1, 0, separate);
    job.calls.sameFile = [](const std::wstring& a, const std::wstring& b) {
        return a == b;
    };
    job.calls.nameToWrite = [](const std::wstring& target) {
        return target;
    };
    job.calls.whyNotReplaced = [](const std::wstring&) {
        return std::wstring();
    };
    job.calls.exportFile = std::move(exportFile);
    return job;
}

TEST(OutputsOf, AreTheFilesThatTheJobWrites) {
    for (const bool separate : {false, true}) {
        Mutex lock;
        std::vector<std::wstring> written;
        const ExportJob job = jobWith(separate, [&](const ExportRequest& request, std::wstring*) {
            const Lock held(lock);
            written.push_back(request.outputPath);
            return true;
        });
        SharedJobState shared;
        ASSERT_TRUE(runExportJob(job, shared));
        std::ranges::sort(written);
        EXPECT_EQ(written, outputsOf(job));
    }
}

TEST(CutJob, WritesWhatWasAskedForAndNoMore) {
    std::vector<ExportSpan> spans;
    const ExportJob job = jobWith(false, [&](const ExportRequest& request, std::wstring*) {
        spans = request.spans;
        return true;
    });
    SharedJobState shared;
    ASSERT_TRUE(runExportJob(job, shared));
    ASSERT_EQ(spans.size(), job.clips.size());
    for (std::size_t i = 0; i < spans.size(); ++i) {
        EXPECT_EQ(spans[i].start, job.clips[i].start);
        EXPECT_EQ(spans[i].end, job.clips[i].end);
    }
}

TEST(ReasonOfFailure, IsTheFirstErrorTold) {
    for (const bool separate : {false, true}) {
        SharedJobState shared;
        const ExportJob job = jobWith(separate, [](const ExportRequest&, std::wstring* text) {
            *text = L"The disk is full.";
            return false;
        });
        EXPECT_FALSE(runExportJob(job, shared));
        EXPECT_EQ(reasonOfFailure(shared), L"The disk is full.");
    }
}

TEST(ReasonOfFailure, OfACancelIsTheCancel) {
    SharedJobState shared;
    const ExportJob job = jobWith(false, [&](const ExportRequest&, std::wstring* text) {
        shared.exportCancel = true;
        *text = L"Export cancelled";
        return false;
    });
    EXPECT_FALSE(runExportJob(job, shared));
    EXPECT_EQ(reasonOfFailure(shared), L"Export cancelled");
}

TEST(ReasonOfFailure, WithoutAWordIsTheProgramsOwn) {
    SharedJobState shared;
    const ExportJob job = jobWith(false, [](const ExportRequest&, std::wstring*) { return false; });
    EXPECT_FALSE(runExportJob(job, shared));
    EXPECT_EQ(reasonOfFailure(shared), L"Windows Media Foundation could not encode this file.");
}

} // namespace
} // namespace velkantrix
