// Good files, cut off at every byte and with every byte spoiled: whatever comes out, nothing may
// break.
#include <gtest/gtest.h>

#include "tests/support/mp4_files.h"
#include "tests/support/mp4_readers.h"
#include "tests/support/random_choices.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

struct GoodFile {
    const char* name;
    Bytes content;
};

void PrintTo(const GoodFile& file, std::ostream* out) {
    *out << file.name;
}

class DamagedFile : public testing::TestWithParam<GoodFile> {};

TEST_P(DamagedFile, CutOffAtAnyByteBreaksNothing) {
    TempFile file(GetParam().content);
    const std::size_t whole = GetParam().content.size();
    for (std::size_t missing = 1; missing <= whole; missing += caseStep()) {
        const std::size_t size = whole - missing;
        file.resize(size);
        ASSERT_EQ(problemOfAnyReader(file.path()), "") << "cut to " << size;
    }
}

TEST_P(DamagedFile, AnyByteSpoiledBreaksNothing) {
    Bytes content = GetParam().content;
    TempFile file(content);
    for (std::size_t i = 0; i < content.size(); i += caseStep()) {
        for (const int flipped : {0xFF, 0x01, 0x80}) {
            file.write(i, Bytes{content[i] ^ flipped});
            ASSERT_EQ(problemOfAnyReader(file.path()), "") << "byte " << i << " xor " << flipped;
        }
        file.write(i, Bytes{content[i]});
    }
}

INSTANTIATE_TEST_SUITE_P(GoodFiles, DamagedFile,
                         testing::Values(GoodFile{"plain", plainRecording()},
                                         GoodFile{"plainMoovFirst", plainRecording(true)},
                                         GoodFile{"fragmented", fragmentedRecording()}),
                         [](const auto& row) { return row.param.name; });

// What was spoiled above was good: all of it can be read.
TEST(GoodFile, PlainHasAnIndexAndAllSamples) {
    for (const bool moovFirst : {false, true}) {
        const TempFile file(plainRecording(moovFirst));
        EXPECT_EQ(LoadVideoTrackIndex(file.path()).randomAccess.size(), 2u);
        EXPECT_TRUE(ReadKeyframeSample(file.path(), LoadVideoTrackIndex(file.path()), 0).ok);
        PlainSamples samples;
        ASSERT_TRUE(samples.open(file.path()));
        PlainSample sample;
        int count = 0;
        while (samples.next(sample) == WalkOutcome::Sample) ++count;
        EXPECT_EQ(count, 10);
        EXPECT_EQ(samples.next(sample), WalkOutcome::End);
    }
}

TEST(GoodFile, FragmentedHasBothTracksToTheEnd) {
    const TempFile file(fragmentedRecording());
    FragmentReader video;
    ASSERT_TRUE(video.Open(file.path()));
    EXPECT_DOUBLE_EQ(video.DurationSeconds(), 0.64);
    AudioTrackInfo audio = LoadAudioTrackInfo(file.path());
    ASSERT_TRUE(audio.valid);
    FragmentReader sound;
    ASSERT_TRUE(
        sound.OpenWithTable(file.path(), audio.trackId, audio.timescale, audio.randomAccess));
    for (FragmentReader* reader : {&video, &sound}) {
        ASSERT_TRUE(reader->Seek(0));
        ReaderSample sample;
        int count = 0;
        while (reader->ReadNextSample(sample)) ++count;
        EXPECT_EQ(count, 15);
        EXPECT_EQ(reader->outcome(), ReadOutcome::End);
    }
}

} // namespace
} // namespace velkantrix
