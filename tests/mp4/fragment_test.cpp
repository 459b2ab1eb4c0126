#include "mp4/fragment.h"

#include <gtest/gtest.h>

#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST = 0xFFFFFFFF;

std::vector<SampleRecord> listOf(const FragmentSamples& samples) {
    std::vector<SampleRecord> list;
    for (std::uint64_t i = 0; i < samples.size() && i < 1000; ++i) list.push_back(samples[i]);
    return list;
}

// A reader's state in front of a fragment at 5000 of track 1.
FragmentTrack trackBefore() {
    FragmentTrack track;
    track.trackId = 1;
    track.fragmentOffset = 5000;
    track.nextDecodeTime = 70;
    return track;
}

FragmentTrack parse(const Bytes& moofPayload, FragmentTrack track = trackBefore()) {
    ParseFragment(moofPayload.vector(), track);
    return track;
}

using Records = std::vector<SampleRecord>;

Records parsed(const Bytes& moofPayload) {
    return listOf(parse(moofPayload).samples);
}

Bytes traf(std::initializer_list<Bytes> children) {
    return box("traf", join(children));
}

// What most tests need: a traf of track 1 at time 100.
Bytes trafWith(const Bytes& trunBox, const TfhdFields& fields = {}) {
    return traf({tfhd(1, fields), tfdt(100), trunBox});
}

TEST(ParseFragment, RecordsOfAllFieldsAreTaken) {
    EXPECT_EQ(parsed(trafWith(
                  trun(0xF00, {{10, 200, SYNC_SAMPLE, 5}, {20, 300, NON_SYNC_SAMPLE, 0}}, 64))),
              (Records{{5064, 200, 105, 100, 10, true}, {5264, 300, 110, 110, 20, false}}));
}

TEST(ParseFragment, MissingFieldsComeFromTheHeader) {
    const TfhdFields defaults{.duration = 7, .size = 50, .flags = NON_SYNC_SAMPLE};
    const struct {
        std::uint32_t fields;
        std::vector<std::uint32_t> record;
        SampleRecord sample;
    } cases[] = {
        {0x100, {9}, {5000, 50, 100, 100, 9, false}},
        {0x200, {9}, {5000, 9, 100, 100, 7, false}},
        {0x400, {SYNC_SAMPLE}, {5000, 50, 100, 100, 7, true}},
        {0x800, {9}, {5000, 50, 109, 100, 7, false}},
        {0xA00, {9, 3}, {5000, 9, 103, 100, 7, false}},
        {0x500, {9, SYNC_SAMPLE}, {5000, 50, 100, 100, 9, true}},
    };
    for (const auto& [fields, record, sample] : cases) {
        EXPECT_EQ(parsed(trafWith(trun(fields, {record}), defaults)), Records{sample}) << fields;
    }
}

TEST(ParseFragment, WithoutDefaultsTheyAreZero) {
    EXPECT_EQ(parsed(trafWith(trun(0x200, {{30}}))), (Records{{5000, 30, 100, 100, 0, true}}));
    EXPECT_TRUE(parsed(trafWith(trun(0x100, {{30}}))).empty()) << "size 0";
    EXPECT_TRUE(parsed(trafWith(trunOfCount(3))).empty()) << "size 0";
}

TEST(ParseFragment, OnlyTheNonSyncBitDecides) {
    for (const std::uint32_t flags : {0u, 0x02000000u, 0xFFFEFFFFu}) {
        EXPECT_TRUE(parsed(trafWith(trun(0x600, {{30, flags}}))).at(0).sync) << flags;
    }
    for (const std::uint32_t flags : {0x10000u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(parsed(trafWith(trun(0x600, {{30, flags}}))).at(0).sync) << flags;
    }
}

TEST(ParseFragment, CompositionOffsetsAreSigned) {
    const Records records =
        parsed(trafWith(trun(0xA00, {{1, 0xFFFFFFFE}, {1, 0x80000000}, {1, 0x7FFFFFFF}})));
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].pts, 98u);
    EXPECT_EQ(records[1].pts, std::uint64_t{100} - 0x80000000u);
    EXPECT_EQ(records[2].pts, 100u + 0x7FFFFFFFu);
}

TEST(ParseFragment, DataOffsetsAreSigned) {
    EXPECT_EQ(parsed(trafWith(trun(0x200, {{1}}, -1000))).at(0).offset, 4000u);
    EXPECT_EQ(parsed(trafWith(trun(0x200, {{1}}, 1000))).at(0).offset, 6000u);
}

TEST(ParseFragment, TheHeadersBaseReplacesTheFragmentsPlace) {
    EXPECT_EQ(
        parsed(trafWith(trun(0x200, {{1}}, -8), {.baseDataOffset = 0x123456789})).at(0).offset,
        0x123456781u);
}

TEST(ParseFragment, ARunWithoutDataOffsetStartsAtTheBaseAgain) {
    const Bytes moofPayload = traf({tfhd(1), tfdt(100), trun(0x300, {{10, 5}, {10, 6}}),
                                    trun(0x300, {{10, 7}}), trun(0x300, {{10, 8}}, 90)});
    EXPECT_EQ(parsed(moofPayload), (Records{{5000, 5, 100, 100, 10, true},
                                            {5005, 6, 110, 110, 10, true},
                                            {5000, 7, 120, 120, 10, true},
                                            {5090, 8, 130, 130, 10, true}}));
}

TEST(ParseFragment, FirstSampleFlagsAreTheFirstSamplesOnly) {
    const std::vector<std::vector<std::uint32_t>> two = {{1, NON_SYNC_SAMPLE},
                                                         {1, NON_SYNC_SAMPLE}};
    Records records = parsed(trafWith(trun(0x600, two, std::nullopt, SYNC_SAMPLE)));
    EXPECT_TRUE(records.at(0).sync);
    EXPECT_FALSE(records.at(1).sync);
    records = parsed(trafWith(trun(0x200, {{1}, {1}}, 0, NON_SYNC_SAMPLE)));
    EXPECT_FALSE(records.at(0).sync);
    EXPECT_TRUE(records.at(1).sync);
    records = parsed(trafWith(trunOfCount(3, 0, SYNC_SAMPLE), {.size = 4, .flags = 0x10000}));
    EXPECT_TRUE(records.at(0).sync);
    EXPECT_FALSE(records.at(1).sync);
    EXPECT_FALSE(records.at(2).sync);
}

TEST(ParseFragment, EverySampleOfARunWithoutRecordsIsTheDefault) {
    EXPECT_EQ(parsed(trafWith(trunOfCount(3, 10), {.duration = 7, .size = 50})),
              (Records{{5010, 50, 100, 100, 7, true},
                       {5060, 50, 107, 107, 7, true},
                       {5110, 50, 114, 114, 7, true}}));
    EXPECT_EQ(parse(trafWith(trunOfCount(3), {.duration = 7, .size = 50})).nextDecodeTime, 121u);
}

TEST(ParseFragment, ASampleOfSizeZeroEndsTheRun) {
    const Bytes moofPayload = traf(
        {tfhd(1), tfdt(100), trun(0x300, {{10, 5}, {10, 0}, {10, 6}}), trun(0x300, {{10, 7}})});
    EXPECT_EQ(parsed(moofPayload),
              (Records{{5000, 5, 100, 100, 10, true}, {5000, 7, 110, 110, 10, true}}));
}

TEST(ParseFragment, ARecordThatDoesNotFitEndsTheRun) {
    Bytes run = withoutHeader(trun(0x300, {{10, 5}, {10, 6}}));
    EXPECT_EQ(parsed(trafWith(box("trun", run))).size(), 2u);
    run.resize(run.size() - 1);
    EXPECT_EQ(parsed(trafWith(box("trun", run))).size(), 1u);
    run.resize(run.size() - 8);
    EXPECT_EQ(parsed(trafWith(box("trun", run))).size(), 0u);
}

TEST(ParseFragment, RecordsBehindTheStatedCountAreNotRead) {
    Bytes run = withoutHeader(trun(0x300, {{10, 5}, {10, 6}}));
    run[7] = 1;
    EXPECT_EQ(parsed(trafWith(box("trun", run))).size(), 1u);
    run[4] = 0xFF;
    EXPECT_EQ(parsed(trafWith(box("trun", run))).size(), 2u);
}

TEST(ParseFragment, ARunBelowEightBytesIsIgnored) {
    for (std::size_t size = 0; size < 8; ++size) {
        Bytes run = withoutHeader(trunOfCount(1));
        run.resize(size);
        EXPECT_TRUE(parsed(trafWith(box("trun", run), {.size = 5})).empty()) << size;
    }
    EXPECT_EQ(parsed(trafWith(trunOfCount(1), {.size = 5})).size(), 1u);
}

TEST(ParseFragment, ADataOffsetThatDoesNotFitIsZero) {
    Bytes run = withoutHeader(trunOfCount(1, 100));
    EXPECT_EQ(parsed(trafWith(box("trun", run), {.size = 5})).at(0).offset, 5100u);
    run.resize(11);
    EXPECT_EQ(parsed(trafWith(box("trun", run), {.size = 5})).at(0).offset, 5000u);
}

TEST(ParseFragment, FirstSampleFlagsThatDoNotFitAreNone) {
    Bytes run = withoutHeader(trunOfCount(1, 100, NON_SYNC_SAMPLE));
    EXPECT_FALSE(parsed(trafWith(box("trun", run), {.size = 5})).at(0).sync);
    run.resize(15);
    EXPECT_TRUE(parsed(trafWith(box("trun", run), {.size = 5})).at(0).sync);
    EXPECT_EQ(parsed(trafWith(box("trun", run), {.size = 5})).at(0).offset, 5100u);
}

TEST(ParseFragment, OtherTracksAreIgnored) {
    const Bytes other = traf({tfhd(2), tfdt(900), trun(0x300, {{10, 5}})});
    const FragmentTrack track = parse(join({other, trafWith(trun(0x300, {{10, 6}})), other}));
    EXPECT_EQ(listOf(track.samples), (Records{{5000, 6, 100, 100, 10, true}}));
    EXPECT_EQ(track.nextDecodeTime, 110u);
}

TEST(ParseFragment, ATrafWithoutHeaderIsIgnored) {
    FragmentTrack track = trackBefore();
    EXPECT_TRUE(parse(traf({tfdt(9), trun(0x300, {{10, 5}})}), track).samples.empty());
    Bytes header = withoutHeader(tfhd(1));
    header.resize(7);
    EXPECT_TRUE(parse(traf({box("tfhd", header), trun(0x300, {{10, 5}})}), track).samples.empty());
}

TEST(ParseFragment, TheTimeIsThatOfItsBox) {
    const auto timeOf = [](const Bytes& time) {
        return parsed(traf({tfhd(1), time, trun(0x200, {{5}})})).at(0).dts;
    };
    EXPECT_EQ(timeOf(tfdt(0x123456789A, 1)), 0x123456789Au);
    EXPECT_EQ(timeOf(tfdt(0xFFFFFFFF, 0)), 0xFFFFFFFFu);
    EXPECT_EQ(timeOf(fullBox("tfdt", 2, 0, Bytes().u32(8).u32(9))), 8u);
}

TEST(ParseFragment, WithoutATimeItGoesOnFromTheFragmentBefore) {
    EXPECT_EQ(parsed(traf({tfhd(1), trun(0x200, {{5}})})).at(0).dts, 70u);
    Bytes time = withoutHeader(tfdt(99, 0));
    time.resize(7);
    EXPECT_EQ(parsed(traf({tfhd(1), box("tfdt", time), trun(0x200, {{5}})})).at(0).dts, 70u);
}

TEST(ParseFragment, ASecondTrafOfTheTrackGoesOn) {
    const Bytes one = traf({tfhd(1), trun(0x300, {{10, 5}})});
    const FragmentTrack track = parse(join({one, one}));
    EXPECT_EQ(listOf(track.samples),
              (Records{{5000, 5, 70, 70, 10, true}, {5000, 5, 80, 80, 10, true}}));
    EXPECT_EQ(track.nextDecodeTime, 90u);
}

TEST(ParseFragment, TheOrderOfTheBoxesInATrafDoesNotMatter) {
    EXPECT_EQ(parsed(traf({trun(0x300, {{10, 5}}), tfdt(100), tfhd(1)})),
              (Records{{5000, 5, 100, 100, 10, true}}));
}

TEST(ParseFragment, SamplesAreAppended) {
    FragmentTrack track = trackBefore();
    track.samples.append({1, 2, 3, 4, 5, true});
    EXPECT_EQ(listOf(parse(trafWith(trun(0x300, {{10, 5}})), track).samples),
              (Records{{1, 2, 3, 4, 5, true}, {5000, 5, 100, 100, 10, true}}));
}

TEST(ParseFragment, TheMostSamplesWithoutRecordsCostNothing) {
    FragmentTrack track = trackBefore();
    const Bytes run = trunOfCount(MOST, 0, SYNC_SAMPLE);
    Bytes runs;
    for (int i = 0; i < 1000; ++i) runs.add(run);
    track = parse(
        traf({tfhd(1, {.duration = MOST, .size = 1, .flags = NON_SYNC_SAMPLE}), tfdt(0), runs}),
        track);
    const std::uint64_t count = std::uint64_t{MOST} * 1000;
    ASSERT_EQ(track.samples.size(), count);
    EXPECT_EQ(track.samples[count - 1],
              (SampleRecord{5000 + std::uint64_t{MOST} - 1, 1, (count - 1) * MOST,
                            (count - 1) * MOST, MOST, false}));
    EXPECT_TRUE(track.samples[count - MOST].sync);
    EXPECT_EQ(track.nextDecodeTime, count * MOST);
}

TEST(ReadTrackFragmentHeader, FieldsAreTakenInTheirOrder) {
    const auto header = readTrackFragmentHeader(withoutHeader(traf({tfhd(9, {.baseDataOffset = 1,
                                                                             .descriptionIndex = 2,
                                                                             .duration = 3,
                                                                             .size = 4,
                                                                             .flags = 5})}))
                                                    .vector());
    ASSERT_TRUE(header);
    EXPECT_EQ(header->trackId, 9u);
    EXPECT_EQ(header->baseDataOffset, 1u);
    EXPECT_EQ(header->duration, 3u);
    EXPECT_EQ(header->size, 4u);
    EXPECT_EQ(header->flags, 5u);
}

TEST(ReadTrackFragmentHeader, FieldsThatDoNotFitAreZero) {
    const Bytes whole = withoutHeader(tfhd(9, {.baseDataOffset = 0x0101010101010101,
                                               .descriptionIndex = 0x02020202,
                                               .duration = 0x03030303,
                                               .size = 0x04040404,
                                               .flags = 0x05050505}));
    for (std::size_t size = 8; size <= whole.size(); ++size) {
        Bytes cut = whole;
        cut.resize(size);
        const auto header = readTrackFragmentHeader(box("tfhd", cut).vector());
        ASSERT_TRUE(header) << size;
        EXPECT_EQ(header->trackId, 9u) << size;
        EXPECT_EQ(header->baseDataOffset.has_value(), size >= 16) << size;
        EXPECT_EQ(header->duration, size >= 24 ? 0x03030303u : 0) << size;
        EXPECT_EQ(header->size, size >= 28 ? 0x04040404u : 0) << size;
        EXPECT_EQ(header->flags, size >= 32 ? 0x05050505u : 0) << size;
    }
}

TEST(ReadTrackFragmentHeader, TheLastThatIsLongEnoughCounts) {
    const Bytes children = join({tfhd(1), tfhd(2), box("tfhd", Bytes().fill(7))});
    EXPECT_EQ(readTrackFragmentHeader(children.vector()).value().trackId, 2u);
    EXPECT_FALSE(readTrackFragmentHeader(ByteView()));
}

} // namespace
} // namespace velkantrix
