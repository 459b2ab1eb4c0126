#include "app/command_table.h"

#include <gtest/gtest.h>

#include <set>

namespace velkantrix {
namespace {

TEST(Accelerators, AreThese) {
    // Modifiers, key, command, as the system numbers them.
    const std::array<AcceleratorKey, 25> expected = {{
        {0x09, 0x4F, 101}, {0x09, 0x53, 166}, {0x0D, 0x53, 105}, {0x09, 0x5A, 106},
        {0x09, 0x59, 122}, {0x0D, 0x5A, 122}, {0x01, 0x20, 102}, {0x01, 0x53, 103},
        {0x01, 0x2E, 104}, {0x01, 0x25, 108}, {0x01, 0x27, 109}, {0x01, 0xBE, 123},
        {0x01, 0xBC, 124}, {0x01, 0x24, 125}, {0x01, 0x23, 126}, {0x01, 0x1B, 127},
        {0x01, 0x71, 132}, {0x01, 0x7A, 128}, {0x01, 0x46, 128}, {0x01, 0x4D, 129},
        {0x01, 0x26, 130}, {0x01, 0x28, 131}, {0x01, 0xDD, 161}, {0x01, 0xDB, 162},
        {0x01, 0x5A, 165},
    }};
    EXPECT_EQ(acceleratorKeys(), expected);
}

TEST(CommandNeeds, WithoutAVideoTheseDoNothing) {
    const std::set<int> needVideo{102, 103, 108, 109, 121, 123, 124, 125,
                                  126, 160, 161, 162, 163, 164, 165};
    for (int command = 0; command < 500; ++command) {
        EXPECT_EQ(mayRun(static_cast<std::uint16_t>(command), {.videoLoaded = false}),
                  needVideo.count(command) == 0)
            << command;
        EXPECT_TRUE(mayRun(static_cast<std::uint16_t>(command), {.videoLoaded = true})) << command;
    }
}

TEST(CommandNeeds, WhileAJobRunsTheseDoNothing) {
    const std::set<int> needNoJob{103, 123, 124, 160, 164};
    for (int command = 0; command < 500; ++command)
        EXPECT_EQ(
            mayRun(static_cast<std::uint16_t>(command), {.videoLoaded = true, .exportBusy = true}),
            needNoJob.count(command) == 0)
            << command;
}

} // namespace
} // namespace velkantrix
