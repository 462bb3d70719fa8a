#pragma once

#include <gmock/gmock.h>

/// The matchers that tests write with.
namespace parlowen::testing {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

} // namespace parlowen::testing
