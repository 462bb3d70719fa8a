#pragma once

#include "Limits.h"

#include <vector>

namespace parlowen::service {

/// Who tries to sign in as whom.
struct SignInTry {
    std::string number;          ///< dialling code and number
    std::string address;         ///< of the peer; the device, where the number has signed in from that before
    bool fromKnownPlace = false; ///< the number has signed in from that address or device before
    bool askedForCode = false;   ///< the code that is good now was asked for from there
    std::string device = {};     ///< what it is known by; empty where it does not say

    bool isOfTheOwners() const { return fromKnownPlace || askedForCode; }
};

/// Failures in a row of one name, as they are kept.
struct KeptFailures {
    std::string kind; ///< "number", "address" or "pair"
    std::string name;
    int count; ///< 0: none any more
    std::chrono::seconds ago{0};
};
/// Keeps them beyond the end of the process. Does not throw.
using KeepFailures = std::function<void(const std::vector<KeptFailures>&)>;

/// The limits of guessing: by number and by address apart. Whoever tries from an address or a device that the number
/// has signed in from before, or from an address that its code was asked for from, meets a limit of that pair alone, so
/// that strangers lock nobody out of their account. An address is counted once for each number that it fails at:
/// whoever guesses at one number shuts nobody at the same address out. Thread-safe.
class SignInLimits {
public:
    static constexpr FailureRule byNumber{5, std::chrono::seconds(60), std::chrono::seconds(900)};
    static constexpr FailureRule byAddress{50, std::chrono::seconds(1), std::chrono::seconds(60)};
    static constexpr FailureRule byPair{10, std::chrono::seconds(5), std::chrono::seconds(60)};

    explicit SignInLimits(const LimitClock& clock, KeepFailures keep = {});
    void restore(const std::vector<KeptFailures>& kept);

    /// How long to wait before a try; 0 when it may be made now.
    std::chrono::seconds waitFor(const SignInTry& attempt);
    /// Counts a try as a failure from its beginning, so that many at a time do not all get through before the first
    /// has failed; gives how long to wait instead when none may be made now.
    std::chrono::seconds begin(const SignInTry& attempt);
    /// What was counted was a failure.
    void failed(const SignInTry& attempt);
    /// Nothing came of what was counted, which was neither.
    void takeBack(const SignInTry& attempt);
    /// What was counted was no failure.
    void succeeded(const SignInTry& attempt);

private:
    void keep(const SignInTry& attempt);
    std::map<std::string, FailureLimit*> kinds() {
        return {{"number", &numbers_}, {"address", &addresses_}, {"pair", &pairs_}};
    }

    const KeepFailures keep_;
    std::mutex beginning_;
    FailureLimit numbers_;
    FailureLimit addresses_;
    FailureLimit pairs_;
};

} // namespace parlowen::service
