#pragma once

#include "AccountStore.h"
#include "Limits.h"

#include <tl/expected.hpp>

namespace parlowen::service {

/// The codes that are sent to phones: six digits, good for a while, a few tries and one sign-in. Known in memory alone,
/// as hashes. Thread-safe.
class LoginCodes {
public:
    static constexpr std::chrono::minutes lifetime{5};
    static constexpr int tries = 5;
    static constexpr std::chrono::seconds betweenTwo{60}; ///< for one number, or of an asker that it knows
    static constexpr std::size_t ofANumber = 10;          ///< a day, likewise
    static constexpr std::size_t ofAnAddress = 30;        ///< an hour, but for numbers that know it; or of a site

    explicit LoginCodes(LimitClock clock = std::chrono::steady_clock::now, std::size_t codesOfAnAddress = ofAnAddress);

    /// Where a code is asked for.
    struct Asker {
        std::string address;  ///< or the device, where the number has signed in from that before
        bool isKnown = false; ///< the number has signed in from there before
    };
    /// A new code in place of an older one of the number that was asked for from the same address; the error is how
    /// long to wait. Askers that the number knows have limits of their own for it, so that strangers use up nobody's
    /// day, and cost no address its hour.
    tl::expected<std::string, std::chrono::seconds> issue(const PhoneNumber& phone, const Asker& asker);
    /// Whether it is a code of the number; if so, it is good no more. For each of its codes this uses up a try: of the
    /// address that the code was asked for from, or of all others, so that strangers use up no code of somebody else.
    bool redeem(const PhoneNumber& phone, std::string_view code, const std::string& address);
    /// Whether a code of the number that is good there still was asked for from there.
    bool isAskedFrom(const PhoneNumber& phone, const std::string& address);
    /// Forgets a number's codes.
    void forget(const PhoneNumber& phone);
    /// Forgets a code that did not reach the number, and that it was issued; the address has used it all the same.
    void takeBack(const PhoneNumber& phone, std::string_view code);

private:
    struct Issued {
        std::string hash;
        LimitTime goodUntil;
        std::string address;   ///< that asked for it
        std::string limitedAs; ///< what its limits count it under
        int triesLeft = tries;
        int triesLeftElsewhere = tries;
    };

    using Codes = std::multimap<std::string, Issued>; ///< by nameOf(), one for each address that asked

    std::chrono::seconds enter(const std::string& limitedAs, const Asker& asker);

    const LimitClock clock_;
    RateLimit pauses_;
    RateLimit days_;
    RateLimit addresses_;
    std::mutex mutex_;
    Codes codes_;
};

} // namespace parlowen::service
