#include "Accounts/FailureLimit.h"

#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace std::chrono_literals;

namespace {

class Limit : public ::testing::Test {
protected:
    void fail(const std::string& name, int times) {
        for (int i = 0; i < times; ++i)
            limit.failed(name);
    }

    FailureLimit::TimePoint now = FailureLimit::TimePoint() + 1000h;
    FailureLimit limit{[this] { return now; }};
};

} // namespace

TEST_F(Limit, SlowsDownAfterAFewFailures) {
    fail("a", FailureLimit::freeFailures - 1);
    EXPECT_EQ(limit.waitFor("a"), 0s);
    fail("a", 1);
    EXPECT_EQ(limit.waitFor("a"), FailureLimit::pause);
    EXPECT_EQ(limit.waitFor("b"), 0s);
    now += FailureLimit::pause - 500ms;
    EXPECT_EQ(limit.waitFor("a"), 1s);
    now += 500ms;
    EXPECT_EQ(limit.waitFor("a"), 0s);
    fail("a", 1);
    EXPECT_EQ(limit.waitFor("a"), FailureLimit::pause) << "each further failure costs a pause";
}

TEST_F(Limit, ForgetsAfterSuccessAndTime) {
    fail("a", FailureLimit::freeFailures);
    limit.succeeded("a");
    fail("a", 1);
    EXPECT_EQ(limit.waitFor("a"), 0s);
    fail("b", FailureLimit::freeFailures);
    now += FailureLimit::memory + 1s;
    fail("b", 1);
    EXPECT_EQ(limit.waitFor("b"), 0s);
}

TEST_F(Limit, KeepsABoundedNumberOfNames) {
    fail("oldest", FailureLimit::freeFailures);
    now += 1s;
    for (std::size_t i = 0; i < FailureLimit::names - 1; ++i)
        limit.failed(std::to_string(i));
    EXPECT_GT(limit.waitFor("oldest"), 0s);
    limit.failed("one more");
    EXPECT_EQ(limit.waitFor("oldest"), 0s);
}
