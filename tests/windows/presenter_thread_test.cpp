// What the presenter's thread asks of the system beside drawing, and what it writes down.
#include <windows.h>

#include <timeapi.h>

#include <array>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "base/unique_handle.h"
#include "tests/windows/controller_engine_fixture.h"
#include "tests/windows/replaced_import.h"

extern "C" decltype(&timeBeginPeriod) __imp_timeBeginPeriod;
extern "C" decltype(&timeEndPeriod) __imp_timeEndPeriod;

namespace velkantrix {
namespace {

struct ClockCalls {
    Mutex lock;
    std::vector<std::string> made GUARDED_BY(lock); // "begin 1"
    std::atomic<DWORD> caller{0};                   // the thread of the last one

    MMRESULT note(const char* call, UINT period) EXCLUDES(lock) {
        caller = GetCurrentThreadId();
        const Lock held(lock);
        made.push_back(call + std::to_string(period));
        return 0;
    }
    std::vector<std::string> take() EXCLUDES(lock) {
        const Lock held(lock);
        return std::exchange(made, {});
    }
};

ClockCalls& clockCalls() {
    static ClockCalls calls;
    return calls;
}

MMRESULT WINAPI beginPeriod(UINT period) {
    return clockCalls().note("begin ", period);
}

MMRESULT WINAPI endPeriod(UINT period) {
    return clockCalls().note("end ", period);
}

class PresenterThreadTest : public ControllerEngineTest {};

TEST_F(PresenterThreadTest, TheClockIsFineAsLongAsItRuns) {
    const ReplacedImport<decltype(&timeBeginPeriod)> begins(__imp_timeBeginPeriod, beginPeriod);
    const ReplacedImport<decltype(&timeEndPeriod)> ends(__imp_timeEndPeriod, endPeriod);
    openScripted();
    EXPECT_EQ(clockCalls().take(), Calls{"begin 1"});
    controller.close();
    EXPECT_EQ(clockCalls().take(), Calls{"end 1"});
    EXPECT_NE(clockCalls().caller, GetCurrentThreadId());
}

// Being asked whether its thread is in an apartment, the system names that of others, too.
TEST_F(PresenterThreadTest, ItIsInAnApartmentOfItsOwnAccord) {
    openScripted();
    const ThreadApartment apartment = engine().presenterApartment();
    EXPECT_EQ(apartment.result, S_OK);
    EXPECT_EQ(apartment.type, APTTYPE_MTA);
    EXPECT_EQ(apartment.qualifier, APTTYPEQUALIFIER_NONE);
}

TEST_F(PresenterThreadTest, ClosingEndsIt) {
    openScripted();
    controller.close();
    EXPECT_TRUE(engine().presenterThreadEnds());
}

// Whether there is a log is decided once for each process, and nobody else reads it before the
// process ends: so another runs this one, in the folder where the log is to be.
class PresenterThreadInItsOwnProcess : public ControllerEngineTest {};

TEST_F(PresenterThreadInItsOwnProcess, DISABLED_PresentsTwoPictures) {
    engines.making.script.time = 4.25;
    openScripted();
    engine().offer(S_OK, 5 * SECOND);
    EXPECT_TRUE(waitFor([&] { return controller.enginePresentCount() == 2; }));
}

class PresentLogTest : public FolderTest {
protected:
    static constexpr DWORD LONGEST_RUN = 60'000; // milliseconds
    static constexpr DWORD RUNS_ON = 0xFFFFFFFF;

    // Runs that test alone; its exit code.
    [[nodiscard]] DWORD runInFolder() const {
        std::array<wchar_t, MAX_PATH> program{};
        GetModuleFileNameW(nullptr, program.data(), MAX_PATH);
        std::wstring command = L"tests --gtest_also_run_disabled_tests "
                               L"--gtest_filter=PresenterThreadInItsOwnProcess.*";
        STARTUPINFOW start = {};
        start.cb = sizeof start;
        PROCESS_INFORMATION made = {};
        SetEnvironmentVariableW(L"VELKANTRIX_PRESENTLOG", L"1");
        const BOOL runs =
            CreateProcessW(program.data(), command.data(), nullptr, nullptr, FALSE,
                           CREATE_NO_WINDOW, nullptr, inFolder(L"").c_str(), &start, &made);
        SetEnvironmentVariableW(L"VELKANTRIX_PRESENTLOG", nullptr);
        if (!runs) return GetLastError();
        const UniqueHandle<ThreadTraits> thread(made.hThread);
        const UniqueHandle<ThreadTraits> process(made.hProcess);
        DWORD code = RUNS_ON;
        if (WaitForSingleObject(process.get(), LONGEST_RUN) == WAIT_OBJECT_0)
            GetExitCodeProcess(process.get(), &code);
        else
            TerminateProcess(process.get(), code);
        return code;
    }
};

TEST_F(PresentLogTest, EachPictureIsALineWithTheEnginesTime) {
    ASSERT_EQ(runInFolder(), 0u);
    const std::vector<char> bytes = bytesOf(inFolder(L"present.log"));
    const std::string log(bytes.begin(), bytes.end());
    EXPECT_NE(log.find("engine  engine=    4.250 preview=   -1.000 tick=   -1.000"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("engine  engine=    4.250 preview=   -1.000 tick=    5.000"),
              std::string::npos)
        << log;
}

} // namespace
} // namespace velkantrix
