#pragma once

#include "Accounts/Limits.h"
#include "Accounts/Secrets.h"
#include "DragTrace.h"
#include "ExpiringEntries.h"
#include "SliderPuzzle.h"

#include <tl/expected.hpp>

namespace parlowen::service {

/// A puzzle, and the question for those who cannot see it; one of them is to be answered, once.
struct Captcha {
    std::string id;
    SliderPuzzle puzzle;
    std::string question;
};

struct CaptchaAnswer {
    std::string id;
    double x = 0; ///< where the piece was left, in pixels of the picture
    std::vector<DragStep> trace{};
    std::string text{};    ///< the answer to the question; empty: the piece was moved
    std::string address{}; ///< of the peer
};

/// Captchas that wait for an answer, and the results of those that were solved. Known in memory alone. Thread-safe.
class Captchas {
public:
    static constexpr std::chrono::minutes lifetime{5}; ///< of a captcha, and again of its result
    static constexpr double tolerance = 4;             ///< pixels to either side
    static constexpr std::chrono::seconds reading{3};  ///< an answer to the question that comes earlier is nobody's
    static constexpr std::size_t ofAnAddress = 60;     ///< captchas in five minutes
    /// A program reads the question as well as a person: so many answers to it in an hour, right or wrong.
    static constexpr std::size_t inWordsOfAnAddress = 5;
    static constexpr std::size_t kept = 2'000; ///< captchas, and results

    /// `share`: how many times as many as is usual an address may have.
    explicit Captchas(LimitClock clock = std::chrono::steady_clock::now, RandomBelow random = randomBelow,
                      std::size_t share = 1);

    /// A new one; the error is how long the address has to wait for it.
    tl::expected<Captcha, std::chrono::seconds> make(const std::string& address);
    /// Judges the one answer that a captcha may get; gives the result when it is right. The error is how long the
    /// address has to wait until it may answer in words again; 0 when the answer was wrong.
    tl::expected<std::string, std::chrono::seconds> solve(const CaptchaAnswer& answer);
    /// Whether a text is a result that was not used yet; it is used up by this.
    bool redeem(const std::string& result);
    /// What the address used up brought nothing, and is good once more.
    void giveBack(const std::string& result, const std::string& address);

private:
    struct Pending {
        double x;
        std::string answer;
        LimitTime made;
    };
    struct Solved {};

    const LimitClock clock_;
    const RandomBelow random_;
    RateLimit addresses_;
    RateLimit inWords_;
    std::mutex mutex_;
    ExpiringEntries<Pending> pending_{lifetime, kept};
    ExpiringEntries<Solved> results_{lifetime, kept}; ///< by hash
};

} // namespace parlowen::service
