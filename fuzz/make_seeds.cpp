// make_seeds.cpp: writes what fuzzers of readers start from: small good files, and some with the
// rarer forms of boxes in them.
//
//   make_seeds files|records FOLDER
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "tests/support/mp4_files.h"

namespace velkantrix {
namespace {

class SeedFolder {
public:
    explicit SeedFolder(std::filesystem::path path) : path_(std::move(path)) {
        std::filesystem::create_directories(path_);
    }

    void write(std::string_view name, const Bytes& content) {
        std::ofstream file(path_ / name, std::ios::binary);
        file.write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
        if (!file.flush()) good_ = false;
    }

    [[nodiscard]] bool good() const { return good_; }

private:
    std::filesystem::path path_;
    bool good_ = true;
};

Bytes plainOf(const Bytes& stbl) {
    return join({ftyp(), box("mdat", Bytes().fill(64, 1)),
                 box("moov", join({mvhd(600), trak(7, 600, "vide", stbl)}))});
}

// One fragment whose boxes are `trafs`, and its mfra.
Bytes fragmentedOf(const Bytes& trafs, const Bytes& tables) {
    const Bytes moov = box("moov", trak(VIDEO_TRACK, 1000, "vide", stsd(avc1(64, 48))));
    return join({ftyp(), moov, box("moof", trafs), box("mdat", picture(0, true)), mfra(tables)});
}

void writeFiles(SeedFolder& seeds) {
    seeds.write("plain", plainRecording());
    seeds.write("plain-moov-first", plainRecording(true));
    seeds.write("fragmented", fragmentedRecording());
    const Bytes entry = stsd(avc1(64, 48, avcRecord(), "avc3"));
    seeds.write("uniform", plainOf(join({entry, stts({{4, 10}}), stss({1}), stszUniform(8, 4),
                                         stsc({{1, 2}}), co64({24, 40})})));
    seeds.write("no-stss", plainOf(join({entry, stts({{2, 10}, {2, 20}}), stsz({8, 8, 8, 8}),
                                         stsc({{1, 1}, {2, 3}}), stco({24, 32})})));
    const std::uint64_t moof =
        ftyp().size() + box("moov", trak(VIDEO_TRACK, 1000, "vide", stsd(avc1(64, 48)))).size();
    const Bytes table = tfra(VIDEO_TRACK, {{0, moof}}, 0, 4, 4, 4);
    seeds.write("equal-samples",
                fragmentedOf(box("traf", join({tfhd(VIDEO_TRACK, {.duration = 40, .size = 4}),
                                               trunOfCount(3, 0, SYNC_SAMPLE)})),
                             table));
    seeds.write("base-offset",
                fragmentedOf(box("traf", join({tfhd(VIDEO_TRACK, {.baseDataOffset = 8,
                                                                  .descriptionIndex = 1,
                                                                  .duration = 40,
                                                                  .size = 4,
                                                                  .flags = SYNC_SAMPLE}),
                                               tfdt(9, 0), trun(0x100, {{5}, {6}})})),
                             table));
    seeds.write("long-boxes",
                join({longBox("ftyp", Bytes().fill(8)), longBox("mdat", Bytes().fill(8)),
                      openBox("moov", longBox("trak", longBox("mdia")))}));
}

// The first byte is the record's length; what follows is a sample.
void writeRecords(SeedFolder& seeds) {
    for (const std::uint32_t lengthBytes : {1u, 2u, 4u}) {
        const Bytes record = avcRecord({0x67, 0x64, 0, 0x1E}, {0x68, 0xEE}, lengthBytes);
        const Bytes sample =
            join({nal(Bytes{6, 5}, lengthBytes), nal(Bytes{0x65, 1, 2}, lengthBytes)});
        seeds.write("length-" + std::to_string(lengthBytes),
                    Bytes().u8(record.size()).add(record).add(sample));
    }
}

} // namespace
} // namespace velkantrix

int main(int count, char** words) {
    const std::string_view kind = count == 3 ? words[1] : "";
    if (kind != "files" && kind != "records") {
        std::fprintf(stderr, "make_seeds files|records FOLDER\n");
        return 2;
    }
    velkantrix::SeedFolder seeds(words[2]);
    if (kind == "files") {
        velkantrix::writeFiles(seeds);
    } else {
        velkantrix::writeRecords(seeds);
    }
    return seeds.good() ? 0 : 1;
}
