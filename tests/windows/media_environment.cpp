// Media Foundation for all tests of a program, as the application has it: started once.
#include <gtest/gtest.h>

#include "platform/media_startup.h"

namespace velkantrix {
namespace {

class MediaEnvironment : public testing::Environment {
public:
    void SetUp() override { ASSERT_EQ(startMedia(), S_OK); }
    void TearDown() override { stopMedia(); }
};

// Owned by GoogleTest.
const auto* const environment = testing::AddGlobalTestEnvironment(new MediaEnvironment);

} // namespace
} // namespace velkantrix
