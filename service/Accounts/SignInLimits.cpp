#include "SignInLimits.h"

#include <algorithm>

namespace parlowen::service {

namespace {

std::string pairOf(const SignInTry& attempt) { return attempt.number + " " + attempt.address; }

} // namespace

SignInLimits::SignInLimits(const LimitClock& clock)
    : numbers_(byNumber, clock)
    , addresses_(byAddress, clock)
    , pairs_(byPair, clock) {}

std::chrono::seconds SignInLimits::waitFor(const SignInTry& attempt) {
    if (attempt.fromKnownPlace)
        return pairs_.waitFor(pairOf(attempt));
    return std::max(numbers_.waitFor(attempt.number), addresses_.waitFor(attempt.address));
}

std::chrono::seconds SignInLimits::begin(const SignInTry& attempt) {
    const std::lock_guard lock(beginning_);
    const auto wait = waitFor(attempt);
    if (wait.count() > 0)
        return wait;
    if (attempt.fromKnownPlace) {
        pairs_.failed(pairOf(attempt));
    } else {
        numbers_.failed(attempt.number);
        addresses_.failed(attempt.address);
    }
    return {};
}

void SignInLimits::succeeded(const SignInTry& attempt) {
    pairs_.succeeded(pairOf(attempt));
    if (attempt.fromKnownPlace)
        return;
    numbers_.succeeded(attempt.number);
    addresses_.takeBack(attempt.address);
}

} // namespace parlowen::service
