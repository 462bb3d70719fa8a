#include "SignInLimits.h"

#include <algorithm>

namespace parlowen::service {

namespace {

std::string pairOf(const SignInTry& attempt) { return attempt.number + " " + attempt.address; }

} // namespace

SignInLimits::SignInLimits(const LimitClock& clock, KeepFailures keep)
    : keep_(std::move(keep))
    , numbers_(byNumber, clock)
    , addresses_(byAddress, clock)
    , pairs_(byPair, clock) {}

void SignInLimits::restore(const std::vector<KeptFailures>& kept) {
    const auto limits = kinds();
    for (const KeptFailures& failures : kept)
        if (const auto limit = limits.find(failures.kind); limit != limits.end())
            limit->second->restore(failures.name, failures.count, failures.ago);
}

std::chrono::seconds SignInLimits::waitFor(const SignInTry& attempt) {
    if (attempt.isOfTheOwners())
        return pairs_.waitFor(pairOf(attempt));
    return std::max(numbers_.waitFor(attempt.number), addresses_.waitFor(attempt.address));
}

std::chrono::seconds SignInLimits::begin(const SignInTry& attempt) {
    const std::lock_guard lock(beginning_);
    const auto wait = waitFor(attempt);
    if (wait.count() > 0)
        return wait;
    if (!attempt.isOfTheOwners()) {
        numbers_.failed(attempt.number);
        if (pairs_.failuresOf(pairOf(attempt)) == 0)
            addresses_.failed(attempt.address);
    }
    pairs_.failed(pairOf(attempt));
    return {};
}

void SignInLimits::failed(const SignInTry& attempt) { keep(attempt); }

void SignInLimits::takeBack(const SignInTry& attempt) {
    if (!attempt.isOfTheOwners()) {
        numbers_.takeBack(attempt.number);
        if (pairs_.failuresOf(pairOf(attempt)) <= 1)
            addresses_.takeBack(attempt.address);
    }
    pairs_.takeBack(pairOf(attempt));
}

void SignInLimits::succeeded(const SignInTry& attempt) {
    const bool anyBefore = pairs_.failuresOf(pairOf(attempt)) > 1 || numbers_.failuresOf(attempt.number) > 1;
    if (!attempt.isOfTheOwners()) {
        numbers_.succeeded(attempt.number);
        if (pairs_.failuresOf(pairOf(attempt)) <= 1)
            addresses_.takeBack(attempt.address);
    }
    pairs_.succeeded(pairOf(attempt));
    if (anyBefore)
        keep(attempt);
}

void SignInLimits::keep(const SignInTry& attempt) {
    if (!keep_)
        return;
    std::vector<KeptFailures> kept;
    const auto add = [&kept](const char* kind, const std::string& name, FailureLimit& limit, const FailureRule& rule) {
        const int count = limit.failuresOf(name);
        if (count == 0 || count >= rule.free) // those that cost nothing yet are many, and of no use after a restart
            kept.push_back({kind, name, count});
    };
    add("pair", pairOf(attempt), pairs_, byPair);
    if (!attempt.isOfTheOwners()) {
        add("number", attempt.number, numbers_, byNumber);
        add("address", attempt.address, addresses_, byAddress);
    }
    if (!kept.empty())
        keep_(kept);
}

} // namespace parlowen::service
