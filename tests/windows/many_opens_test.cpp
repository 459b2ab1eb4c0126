// Opening one file after the other for a long time: what the process holds stays level. The
// platform itself may grow, so the same is done with it alone, and it is the difference that
// counts.
#include <windows.h>

#include <mfapi.h>
#include <mfmediaengine.h>
#include <mfreadwrite.h>
#include <oleauto.h>
#include <psapi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <functional>

#include <gtest/gtest.h>

#include "platform/com.h"
#include "platform/mf_util.h"
#include "playback/byte_stream_handler.h"
#include "playback/controller.h"
#include "playback/mp4_media_source.h"
#include "playback/notices.h"
#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

constexpr std::array<const wchar_t*, 10> FILES = {
    L"closed",    L"open",       L"pyramid",       L"mono",         L"video-only",
    L"two-audio", L"fragmented", L"variable-rate", L"tables-first", L"audio-first"};
constexpr int WARM = 20; // openings until all that is made only once is there
constexpr int LAST = 100;
constexpr int READERS = 2;                      // for an opening: what the file says, and its end
constexpr ULONGLONG LONGEST_WAIT = 20'000;      // milliseconds
constexpr long long SLACK = 16 * 1024 * 1024LL; // bytes: 200 KB for each opening that counts

long long memoryInUse() {
    PROCESS_MEMORY_COUNTERS memory = {};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
    return static_cast<long long>(memory.WorkingSetSize);
}

bool waitFor(const std::function<bool()>& condition) {
    const ULONGLONG begun = GetTickCount64();
    while (!condition()) {
        if (GetTickCount64() - begun > LONGEST_WAIT) return false;
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
        Sleep(1);
    }
    return true;
}

// By how much the process grows once it is warm.
long long growth(const std::function<void(const wchar_t* name)>& openOne) {
    long long before = 0;
    for (int i = 0; i < LAST; ++i) {
        if (i == WARM) before = memoryInUse();
        openOne(FILES[static_cast<std::size_t>(i) % FILES.size()]);
        if (testing::Test::HasFatalFailure()) return 0;
    }
    return memoryInUse() - before;
}

class MetadataWaiter final : public ComObject<IMFMediaEngineNotify> {
public:
    STDMETHODIMP EventNotify(DWORD event, DWORD_PTR, DWORD) override {
        if (event == MF_MEDIA_ENGINE_EVENT_LOADEDMETADATA) loaded = true;
        return S_OK;
    }
    std::atomic<bool> loaded{false};
};

// Readers, a device, an engine, the file, its first frame, and all of it let go.
void openBare(HWND window, const wchar_t* name) {
    for (int i = 0; i < READERS; ++i) {
        ComPtr<IMFSourceReader> reader;
        ASSERT_EQ(openSourceReader(mediaFile(name).c_str(), reader), S_OK);
    }
    Presenter presenter;
    ASSERT_TRUE(setUpPresenter(presenter, window));
    const auto waiter = ComPtr<MetadataWaiter>::adopt(new MetadataWaiter);
    ComPtr<IMFMediaEngineClassFactory> factory;
    ComPtr<IMFAttributes> attributes;
    ComPtr<IMFMediaEngine> engine;
    ASSERT_EQ(CoCreateInstance(CLSID_MFMediaEngineClassFactory, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IMFMediaEngineClassFactory, factory.putVoid()),
              S_OK);
    ASSERT_EQ(MFCreateAttributes(attributes.put(), 4), S_OK);
    attributes->SetUnknown(MF_MEDIA_ENGINE_DXGI_MANAGER, presenter.deviceManager.get());
    attributes->SetUnknown(MF_MEDIA_ENGINE_CALLBACK, waiter.get());
    attributes->SetUINT32(MF_MEDIA_ENGINE_VIDEO_OUTPUT_FORMAT, DXGI_FORMAT_B8G8R8A8_UNORM);
    ASSERT_EQ(factory->CreateInstance(0, attributes.get(), engine.put()), S_OK);
    const BSTR url = SysAllocString(mediaFile(name).c_str());
    EXPECT_EQ(engine->SetSource(url), S_OK);
    SysFreeString(url);
    LONGLONG time = 0;
    EXPECT_TRUE(waitFor([&] { return waiter->loaded && engine->OnVideoStreamTick(&time) == S_OK; }))
        << name;
    engine->Shutdown();
    engine.reset();
    releasePresenter(presenter);
}

TEST(ManyOpens, LeaveTheProcessAsLargeAsThePlatformAloneDoes) {
    ASSERT_EQ(registerMp4Source(), S_OK); // as the application has it
    const HWND window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 320, 180,
                                        nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    // First the platform, so that what it makes only once isn't counted as ours.
    const long long bare = growth([&](const wchar_t* name) { openBare(window, name); });
    ASSERT_FALSE(HasFatalFailure());
    long long ours = 0;
    {
        PlaybackController controller;
        ours = growth([&](const wchar_t* name) {
            ASSERT_EQ(controller.open(mediaFile(name).c_str(), false, window, nullptr), S_OK);
            ASSERT_TRUE(waitFor([&] { return controller.enginePresented(); })) << name;
            ASSERT_EQ(liveEngineCallbacks(), 1);
        });
    }
    EXPECT_EQ(liveEngineCallbacks(), 0);
    EXPECT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; }));
    std::printf("from the %dth to the %dth opening: %lld KB, the platform alone %lld KB\n", WARM,
                LAST, ours / 1024, bare / 1024);
    EXPECT_LE(ours, std::max(bare, 0LL) + SLACK);
    DestroyWindow(window);
}

} // namespace
} // namespace velkantrix
