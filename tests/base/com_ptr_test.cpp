#include "base/com_ptr.h"

#include <utility>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

struct Counted {
    int references = 1;
    void AddRef() { references++; }
    void Release() { references--; }
};

TEST(ComPtr, AdoptTakesTheCallersReference) {
    Counted object;
    { const auto pointer = ComPtr<Counted>::adopt(&object); }
    EXPECT_EQ(object.references, 0);
}

TEST(ComPtr, ShareAddsAReference) {
    Counted object;
    {
        const auto pointer = ComPtr<Counted>::share(&object);
        EXPECT_EQ(object.references, 2);
    }
    EXPECT_EQ(object.references, 1);
}

TEST(ComPtr, CopiesCountAndMovesDoNot) {
    Counted object;
    auto first = ComPtr<Counted>::adopt(&object);
    ComPtr<Counted> copy = first;
    EXPECT_EQ(object.references, 2);
    ComPtr<Counted> moved = std::move(first);
    EXPECT_EQ(object.references, 2);
    copy = std::move(moved);
    EXPECT_EQ(object.references, 1);
    copy.reset();
    EXPECT_EQ(object.references, 0);
}

TEST(ComPtr, AssigningItselfKeepsTheObject) {
    Counted object;
    auto pointer = ComPtr<Counted>::adopt(&object);
    const auto& same = pointer;
    pointer = same;
    EXPECT_EQ(object.references, 1);
    EXPECT_EQ(pointer.get(), &object);
}

TEST(ComPtr, PutReleasesFirst) {
    Counted old, next;
    auto pointer = ComPtr<Counted>::adopt(&old);
    *pointer.put() = &next;
    EXPECT_EQ(old.references, 0);
    EXPECT_EQ(pointer->references, 1);
}

// How the platform's functions hand objects out: as void**.
TEST(ComPtr, PutVoidIsTheSamePlace) {
    Counted old, next;
    auto pointer = ComPtr<Counted>::adopt(&old);
    void** const place = pointer.putVoid();
    EXPECT_EQ(old.references, 0);
    EXPECT_FALSE(pointer);
    *place = &next;
    EXPECT_EQ(pointer.get(), &next);
}

TEST(ComPtr, NullIsNothingAndAssigningItReleases) {
    const ComPtr<Counted> nothing = nullptr;
    EXPECT_EQ(nothing.get(), nullptr);
    Counted object;
    auto pointer = ComPtr<Counted>::adopt(&object);
    pointer = nullptr;
    EXPECT_EQ(object.references, 0);
    EXPECT_FALSE(pointer);
}

TEST(ComPtr, DetachGivesTheReferenceAway) {
    Counted object;
    auto pointer = ComPtr<Counted>::adopt(&object);
    EXPECT_EQ(pointer.detach(), &object);
    EXPECT_FALSE(pointer);
    EXPECT_EQ(object.references, 1);
}

TEST(ComPtr, SharingNothingIsNothing) {
    const auto pointer = ComPtr<Counted>::share(nullptr);
    EXPECT_FALSE(pointer);
}

} // namespace
} // namespace velkantrix
