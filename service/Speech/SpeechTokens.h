#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace parlowen::service {

/// The short-lived tokens that open the speech gateway. Thread-safe.
///
/// A token opens connections for 10 minutes. A client that loses its connection later than that still holds the same
/// token, so the token also stays good while a session runs that was opened with it, and for a minute after the last
/// one dropped. What is good is known in memory alone; so that a session also outlives the service, a token says when
/// it was issued, signed, and one of an earlier run with the same key opens in the first minute of the next.
class SpeechTokens {
    struct Record;
    struct Table;

public:
    using TimePoint = std::chrono::system_clock::time_point;
    using Clock = std::function<TimePoint()>;

    static constexpr std::chrono::minutes lifetime{10};
    static constexpr std::chrono::seconds grace{60};
    /// How old a token of an earlier run may be.
    static constexpr std::chrono::hours longestSession{12};

    /// Signs with a random key.
    explicit SpeechTokens(Clock clock = std::chrono::system_clock::now);

    /// A key for useKey(): 32 random bytes.
    static std::string randomKey();
    /// Signs with this key, and takes tokens of an earlier run that used it. Not while tokens are in use.
    void useKey(std::string key) { key_ = std::move(key); }

    /// A new token, 64 hexadecimal digits: seconds since 1970 and random bytes, 8 bytes each, big-endian, and the first
    /// 16 bytes of their HMAC-SHA256.
    std::string issue();

    /// Keeps its token good for as long as it exists; may outlive the SpeechTokens.
    class Session {
    public:
        Session(std::shared_ptr<Table> table, std::string token);
        Session(Session&&) noexcept = default;
        Session& operator=(Session&&) = delete;
        ~Session();

    private:
        std::shared_ptr<Table> table_;
        std::string token_;
    };
    /// None when the token opens nothing.
    std::optional<Session> open(std::string_view token);

private:
    bool isOfEarlierRun(std::string_view token) const;

    std::shared_ptr<Table> table_;
    std::string key_;
    TimePoint started_;
};

} // namespace parlowen::service
