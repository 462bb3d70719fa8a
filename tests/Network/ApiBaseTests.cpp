#include <Foundation/Bundle.h>
#include <Network/ApiBase.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace parlowen {
namespace {

/// Ends a process that is started anew for the test: the environment is read once.
[[noreturn]] void exitUnlessBaseIs(const char* environment, const QString& expected) {
    qputenv("PARLOWEN_API_BASE_URL", environment);
    const bool right = ApiBase::builtIn() == expected;
    qputenv("PARLOWEN_API_BASE_URL", "https://later.example");
    std::exit(right && ApiBase::builtIn() == expected ? 0 : 1);
}

TEST(ApiBaseDeathTest, TheEnvironmentAtStartStandsInForTheBuiltInBase) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto fine = ::testing::ExitedWithCode(0);
    EXPECT_EXIT(exitUnlessBaseIs("https://other.example/api/v1", "https://other.example/api/v1"), fine, "");
    EXPECT_EXIT(exitUnlessBaseIs(" https://other.example/api/v1/ ", "https://other.example/api/v1"), fine, "");
    EXPECT_EXIT(exitUnlessBaseIs("", Bundle::builtInApiBaseUrl()), fine, "");
}

TEST(ApiBaseTest, TheCompositionMaySetAnotherOne) {
    const QString before = ApiBase::builtIn();
    EXPECT_EQ(before, Bundle::builtInApiBaseUrl());
    ApiBase::setBuiltIn("https://127.0.0.1:1234/api/v1/");
    EXPECT_EQ(ApiBase::builtIn(), "https://127.0.0.1:1234/api/v1");
    ApiBase::setBuiltIn(before);
}

} // namespace
} // namespace parlowen
