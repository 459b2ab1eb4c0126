#include "base/unique_handle.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

std::vector<int>& closed() {
    static std::vector<int> values;
    return values;
}

struct NumberTraits {
    using Value = int;
    static Value none() { return -1; }
    static void close(Value value) { closed().push_back(value); }
};
using Handle = UniqueHandle<NumberTraits>;

class UniqueHandleTest : public testing::Test {
protected:
    void SetUp() override { closed().clear(); }
};

TEST_F(UniqueHandleTest, ClosesOnceAtTheEndOfItsScope) {
    { const Handle handle(7); }
    EXPECT_EQ(closed(), std::vector<int>{7});
}

TEST_F(UniqueHandleTest, NoHandleIsNeverClosed) {
    { const Handle handle; }
    EXPECT_TRUE(closed().empty());
    EXPECT_FALSE(Handle());
    EXPECT_TRUE(Handle(0));
}

TEST_F(UniqueHandleTest, MovingHandsOverOwnership) {
    Handle first(1);
    Handle second(std::move(first));
    EXPECT_EQ(second.get(), 1);
    Handle third(3);
    third = std::move(second);
    EXPECT_EQ(closed(), std::vector<int>{3});
    third.reset();
    EXPECT_EQ(closed(), (std::vector<int>{3, 1}));
}

TEST_F(UniqueHandleTest, MovingOntoItselfKeepsTheHandle) {
    Handle handle(4);
    Handle& same = handle;
    handle = std::move(same);
    EXPECT_EQ(handle.get(), 4);
    EXPECT_TRUE(closed().empty());
}

TEST_F(UniqueHandleTest, ReleaseGivesUpWithoutClosing) {
    {
        Handle handle(5);
        EXPECT_EQ(handle.release(), 5);
    }
    EXPECT_TRUE(closed().empty());
}

TEST_F(UniqueHandleTest, PutClosesTheOldHandleFirst) {
    Handle handle(6);
    *handle.put() = 8;
    EXPECT_EQ(closed(), std::vector<int>{6});
    EXPECT_EQ(handle.get(), 8);
}

} // namespace
} // namespace velkantrix
