#pragma once

#include "Upstream/UpstreamClient.h"

#include <boost/asio/awaitable.hpp>
#include <mutex>
#include <tl/expected.hpp>

namespace parlowen::service {

/// A region of the cloud speech service, whose tokens an operator's key fetches.
struct CloudRegion {
    std::string name;       ///< such as "eastasia"; empty: there is none
    std::string area{};     ///< what clients are told: the region's name, or a base URL
    std::string tokenUrl{}; ///< where tokens are issued
    std::string key{};
    std::vector<std::string> languages{};   ///< locales that it recognises
    std::vector<std::string> translateTo{}; ///< codes of languages that it translates into
};

/// Where a region issues its tokens, by its name.
std::string issuerOf(const std::string& region);

/// The short-lived tokens of a region. They last ten minutes, and clients use one for eight: each that is handed out
/// was fetched within the last minute and a half, or, while the issuer fails, within the last eight. However many ask,
/// one request is under way. Thread-safe.
class RegionTokens {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    /// A token, or for the user why there is none, in Chinese.
    using Outcome = tl::expected<std::string, std::string>;

    static constexpr std::chrono::seconds freshFor{90};
    static constexpr std::chrono::minutes usableFor{8};
    static constexpr std::chrono::seconds pauseAfterFailure{2}; ///< unless the issuer asks for a longer one
    static constexpr std::chrono::seconds longestPause{60};

    explicit RegionTokens(CloudRegion region, Clock clock = std::chrono::steady_clock::now);

    const CloudRegion& region() const { return region_; }
    /// Waits for a request that is under way, without holding a thread up.
    boost::asio::awaitable<Outcome> token();
    /// Those who wait get no token.
    void stop() { upstream_.stop(); }

private:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Waiter = std::function<void(const Outcome&)>;

    void ask(Waiter waiter);
    void fetch();
    void end(const UpstreamEnd& end, const std::string& body);
    std::optional<Outcome> known() const;

    const CloudRegion region_;
    const Clock clock_;
    std::mutex mutex_; ///< of what follows
    std::vector<Waiter> waiters_;
    std::string token_;
    TimePoint fetchedAt_{};
    std::string problem_; ///< of the last request; empty: it brought a token
    TimePoint quietUntil_{};
    UpstreamClient upstream_; ///< last: what it calls uses the rest
};

} // namespace parlowen::service
