// fragment_reader_fixture.h: a FragmentReader and the file that it reads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/fragment_reader.h"
#include "tests/support/fragmented_file.h"
#include "tests/support/temp_file.h"

namespace velkantrix {

class FragmentReaderTest : public testing::Test {
protected:
    void use(const Bytes& content) { file.emplace(content); }

    // Track 1, time scale 1000, samples as they are stored.
    bool openTable(RandomAccessTable table) {
        return reader.OpenWithTable(file->path(), 1, 1000, std::move(table));
    }

    // A file of these pieces behind an ftyp, opened with one entry, {0, the first piece}, and
    // sought.
    void openPieces(std::initializer_list<Bytes> pieces) {
        use(join({ftyp(), join(pieces)}));
        ASSERT_TRUE(openTable({{0, ftyp().size()}}));
        ASSERT_TRUE(reader.Seek(0));
    }

    // Everything up to the end or a failure; the latter's outcome is in `last`.
    std::vector<ReaderSample> rest() {
        std::vector<ReaderSample> all;
        while (all.size() < 200'000) {
            ReaderSample sample;
            const bool has = reader.ReadNextSample(sample);
            EXPECT_EQ(has, sample.hasPayload);
            last = reader.outcome();
            if (last == ReadOutcome::End || last == ReadOutcome::Failed) {
                EXPECT_FALSE(has);
                break;
            }
            all.push_back(std::move(sample));
        }
        return all;
    }

    // The same as texts: bytes@pts, with a * behind keyframes.
    std::vector<std::string> restAsTexts() {
        std::vector<std::string> texts;
        for (const ReaderSample& sample : rest()) {
            texts.push_back(std::string(sample.data.begin(), sample.data.end()) + "@" +
                            std::to_string(sample.pts) + (sample.keyframe ? "*" : ""));
        }
        return texts;
    }

    static FragmentSample key(const char* text) { return {Bytes().text(text), 100, true}; }
    static FragmentSample other(const char* text) { return {Bytes().text(text), 100, false}; }

    using Texts = std::vector<std::string>;

    FragmentReader reader;
    std::optional<TempFile> file;
    ReadOutcome last = ReadOutcome::Sample;
};

} // namespace velkantrix
