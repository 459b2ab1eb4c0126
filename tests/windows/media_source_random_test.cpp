// Commands in any order, from several threads, on good files and on broken ones: whatever comes of
// them, nothing crashes, hangs or stays behind.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <thread>

#include "tests/support/mp4_files.h"
#include "tests/support/random_choices.h"
#include "tests/windows/media_source_fixture.h"

namespace velkantrix {
namespace {

class MediaSourceRandomTest : public MediaSourceTest {
protected:
    // One caller's share of a sequence.
    void commands(IMFMediaSource* of, std::uint64_t seed, int count,
                  std::vector<ComPtr<IMFMediaStream>>& known) {
        RandomChoices choices(seed);
        for (int i = 0; i < count; ++i) {
            switch (choices.below(12)) {
            case 0:
            case 1:
                static_cast<void>(startAt(of, Ticks{choices.below(130)} * 1'000'000));
                break;
            case 2:
                static_cast<void>(startAt(of, std::nullopt));
                break;
            case 3:
                static_cast<void>(of->Pause());
                break;
            case 4:
                static_cast<void>(of->Stop());
                break;
            case 5:
                if (choices.percent(10)) static_cast<void>(of->Shutdown());
                break;
            case 6:
                takeEvents(of, known);
                break;
            default:
                for (const auto& stream : known) static_cast<void>(stream->RequestSample(nullptr));
                break;
            }
        }
    }

    HRESULT startAt(IMFMediaSource* of, std::optional<Ticks> position) {
        ComPtr<IMFPresentationDescriptor> descriptor;
        if (FAILED(of->CreatePresentationDescriptor(descriptor.put()))) return MF_E_SHUTDOWN;
        PROPVARIANT at;
        PropVariantInit(&at);
        if (position) at.vt = VT_I8;
        if (position) at.hVal.QuadPart = *position;
        return of->Start(descriptor.get(), nullptr, &at);
    }

    static void takeEvents(IMFMediaSource* of, std::vector<ComPtr<IMFMediaStream>>& known) {
        ComPtr<IMFMediaEvent> event;
        while (SUCCEEDED(of->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()))) {
            MediaEventType type = MEUnknown;
            static_cast<void>(event->GetType(&type));
            PROPVARIANT value;
            PropVariantInit(&value);
            static_cast<void>(event->GetValue(&value));
            if ((type == MENewStream || type == MEUpdatedStream) && value.vt == VT_UNKNOWN) {
                ComPtr<IMFMediaStream> stream;
                EXPECT_EQ(value.punkVal->QueryInterface(__uuidof(IMFMediaStream), stream.putVoid()),
                          S_OK);
                known.push_back(std::move(stream));
            }
            PropVariantClear(&value);
        }
        for (const auto& stream : known) {
            while (SUCCEEDED(stream->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()))) {}
        }
    }

    // Whatever came before, unless that was the shutdown: a stop, a start and one request in a row
    // are answered by one sample.
    bool answersOneRequest(std::vector<ComPtr<IMFMediaStream>>& known) {
        constexpr Ticks PLACE = 12'345'678; // where nothing else starts
        if (startAt(source.get(), 0) == MF_E_SHUTDOWN) return true;
        const bool announced = waitFor([&] {
            takeEvents(source.get(), known);
            return !known.empty();
        });
        if (!announced) return false;
        IMFMediaStream* const stream = known.front().get();
        if (FAILED(source->Stop()) || FAILED(startAt(source.get(), PLACE)) ||
            FAILED(stream->RequestSample(nullptr)))
            return false;
        std::optional<SourceEvent> event = next(stream);
        while (event && event->position != PLACE) event = next(stream);
        const std::optional<SourceEvent> answer = next(stream);
        if (FAILED(source->Stop())) return false;
        const std::optional<SourceEvent> last = next(stream); // so no second answer
        return answer && answer->type == MEMediaSample && last && last->type == MEStreamStopped;
    }

    // Reads it to its end, or to an error; true when either came.
    bool readAll() {
        if (FAILED(start(0))) return true;
        std::vector<ComPtr<IMFMediaStream>> known;
        bool over = false;
        const bool inTime = waitFor([&] {
            ComPtr<IMFMediaEvent> event;
            while (!over && SUCCEEDED(source->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()))) {
                MediaEventType type = MEUnknown;
                HRESULT status = S_OK;
                PROPVARIANT value;
                PropVariantInit(&value);
                static_cast<void>(event->GetType(&type));
                static_cast<void>(event->GetStatus(&status));
                static_cast<void>(event->GetValue(&value));
                if (type == MENewStream && value.vt == VT_UNKNOWN) {
                    ComPtr<IMFMediaStream> stream;
                    EXPECT_EQ(
                        value.punkVal->QueryInterface(__uuidof(IMFMediaStream), stream.putVoid()),
                        S_OK);
                    known.push_back(std::move(stream));
                }
                PropVariantClear(&value);
                over = type == MEEndOfPresentation || type == MEError || FAILED(status);
            }
            for (const auto& stream : known) {
                for (int i = 0; i < 20; ++i) static_cast<void>(stream->RequestSample(nullptr));
                while (SUCCEEDED(stream->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()))) {}
            }
            return over;
        });
        return inTime;
    }
};

TEST_F(MediaSourceRandomTest, CommandsInAnyOrderFromTwoThreads) {
    constexpr std::array FILES = {L"fragmented", L"mp4/fragmented-every-frame",
                                  L"mp4/fragmented-b4", L"mp4/fragmented-tracks-apart"};
    constexpr std::uint64_t SEQUENCES = 1000;
    for (std::uint64_t seed = 0; seed < SEQUENCES; ++seed) {
        ASSERT_EQ(open(mediaFile(FILES[seed % FILES.size()])), S_OK);
        IMFMediaSource* const shared = source.get();
        std::vector<ComPtr<IMFMediaStream>> known;
        std::vector<ComPtr<IMFMediaStream>> knownToSecond;
        std::thread second([&] { commands(shared, 2 * seed, 30, knownToSecond); });
        commands(shared, 2 * seed + 1, 30, known);
        second.join();
        known.insert(known.end(), knownToSecond.begin(), knownToSecond.end());
        ASSERT_TRUE(answersOneRequest(known)) << "seed " << seed;
        known.clear();
        knownToSecond.clear();
        static_cast<void>(source->Shutdown());
        source.reset();
        presentation.reset();
        ASSERT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; })) << "seed " << seed;
    }
}

// What fuzzers start from, and some of what they have found interesting, where they have run: with
// VELKANTRIX_LONG all of it.
TEST_F(MediaSourceRandomTest, TheFuzzersFilesEndOrFail) {
    const std::wstring seeds = folderOf(L"VELKANTRIX_SEEDS");
    const std::wstring corpus = folderOf(L"VELKANTRIX_CORPUS");
    std::vector<std::wstring> paths;
    for (const std::wstring& name : filesIn(seeds)) paths.push_back(seeds + L"\\" + name);
    ASSERT_GT(paths.size(), 5U);
    const std::vector<std::wstring> found = filesIn(corpus);
    const std::size_t step =
        std::getenv("VELKANTRIX_LONG") ? 1 : std::max<std::size_t>(1, found.size() / 200);
    for (std::size_t i = 0; i < found.size(); i += step) paths.push_back(corpus + L"\\" + found[i]);
    int opened = 0;
    for (const std::wstring& path : paths) {
        const HRESULT result = open(path);
        if (FAILED(result)) {
            EXPECT_EQ(result, MF_E_UNSUPPORTED_BYTESTREAM_TYPE);
            continue;
        }
        ++opened;
        ASSERT_TRUE(readAll());
        ASSERT_EQ(source->Shutdown(), S_OK);
        source.reset();
        ASSERT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; }));
    }
    EXPECT_GT(opened, 0);
}

TEST_F(MediaSourceRandomTest, FilesWithSpoiledBytesEndOrFail) {
    const Bytes good = fragmentedRecording();
    RandomChoices choices(7);
    int opened = 0;
    for (int round = 0; round < 600; ++round) {
        std::vector<char> bytes(good.vector().begin(), good.vector().end());
        for (std::uint32_t spoiled = choices.between(1, 4); spoiled > 0; --spoiled)
            bytes[choices.below(static_cast<std::uint32_t>(bytes.size()))] =
                static_cast<char>(choices.below(256));
        if (choices.percent(10))
            bytes.resize(choices.below(static_cast<std::uint32_t>(bytes.size())));
        const std::wstring path = inFolder(L"spoiled.mp4");
        writeBytes(path, bytes);
        const HRESULT result = open(path);
        if (FAILED(result)) {
            EXPECT_EQ(result, MF_E_UNSUPPORTED_BYTESTREAM_TYPE) << "round " << round;
            continue;
        }
        ++opened;
        ASSERT_TRUE(readAll()) << "round " << round;
        ASSERT_EQ(source->Shutdown(), S_OK);
        source.reset();
        ASSERT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; })) << "round " << round;
    }
    EXPECT_GT(opened, 100);
    EXPECT_LT(opened, 600);
}

} // namespace
} // namespace velkantrix
