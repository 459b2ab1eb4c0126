// edit_fixture.h: a fresh edit for each test.
#pragma once

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "edit/edit_state.h"
#include "edit/rename.h"
#include "tests/support/edit_recorder.h"

namespace velkantrix {

class EditTest : public testing::Test {
protected:
    static constexpr double INF = std::numeric_limits<double>::infinity();
    static constexpr std::int32_t LOWEST = std::numeric_limits<std::int32_t>::min();
    static constexpr std::int32_t HIGHEST = std::numeric_limits<std::int32_t>::max();
    const double NOT_A_NUMBER = std::nan("");

    EditTest() {
        editState() = {};
        renameState() = {};
        editHost() = recorder.host();
    }

    ~EditTest() override {
        editState() = {};
        renameState() = {};
        editHost() = {};
    }

    EditTest(const EditTest&) = delete;
    EditTest& operator=(const EditTest&) = delete;

    // A loaded video of `duration` with these clips, the first one selected.
    void load(double duration, ClipList clips) {
        startEdit(duration);
        state.clips = std::move(clips);
        recorder.forget();
    }

    // For a call that must change nothing at all: not even the status, and nobody is told.
    template <class Call>
    void expectNothingHappens(Call call) {
        recorder.forget();
        const EditState before = state;
        call();
        EXPECT_TRUE(state == before);
        EXPECT_TRUE(recorder.calls.empty()) << recorder.calls.front();
    }

    EditState& state = editState();
    EditRecorder recorder;
};

inline Segment clip(double start, double end, double fadeIn = 0, double fadeOut = 0,
                    std::wstring name = {}) {
    return {start, end, std::move(name), fadeIn, fadeOut};
}

} // namespace velkantrix
