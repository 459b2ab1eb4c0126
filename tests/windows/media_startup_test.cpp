#include "platform/media_startup.h"

#include <mfapi.h>

#include <gtest/gtest.h>

#include "base/com_ptr.h"

namespace velkantrix {
namespace {

bool mediaWorks() {
    DWORD queue = 0;
    const bool works = SUCCEEDED(MFAllocateWorkQueue(&queue));
    if (works) MFUnlockWorkQueue(queue);
    return works;
}

TEST(StartMedia, StartsOnceAndStopsOnce) {
    EXPECT_EQ(startMedia(), S_OK);
    EXPECT_EQ(startMedia(), S_OK);
    EXPECT_TRUE(mediaWorks());
    stopMedia();
    EXPECT_FALSE(mediaWorks()); // one stop undoes any number of starts
    stopMedia();
}

TEST(StartMedia, StartsAgainAfterAStop) {
    EXPECT_EQ(startMedia(), S_OK);
    EXPECT_TRUE(mediaWorks());
    stopMedia();
}

} // namespace
} // namespace velkantrix
