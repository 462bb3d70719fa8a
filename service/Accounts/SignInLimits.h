#pragma once

#include "Limits.h"

namespace parlowen::service {

/// Who tries to sign in as whom.
struct SignInTry {
    std::string number;          ///< dialling code and number
    std::string address;         ///< of the peer
    bool fromKnownPlace = false; ///< the number has signed in from that address before
};

/// The limits of guessing: by number and by address apart. Whoever tries from an address that the number has signed in
/// from before meets a limit of that pair alone, so that strangers lock nobody out of their account. Thread-safe.
class SignInLimits {
public:
    static constexpr FailureRule byNumber{5, std::chrono::seconds(60), std::chrono::seconds(900)};
    static constexpr FailureRule byAddress{50, std::chrono::seconds(1), std::chrono::seconds(60)};
    static constexpr FailureRule byPair{10, std::chrono::seconds(30), std::chrono::seconds(900)};

    explicit SignInLimits(const LimitClock& clock);

    /// How long to wait before a try; 0 when it may be made now.
    std::chrono::seconds waitFor(const SignInTry& attempt);
    /// Counts a try as a failure from its beginning, so that many at a time do not all get through before the first
    /// has failed; gives how long to wait instead when none may be made now.
    std::chrono::seconds begin(const SignInTry& attempt);
    /// What was counted was no failure.
    void succeeded(const SignInTry& attempt);

private:
    std::mutex beginning_;
    FailureLimit numbers_;
    FailureLimit addresses_;
    FailureLimit pairs_;
};

} // namespace parlowen::service
