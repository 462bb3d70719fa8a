#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace parlowen::service {

/// The short-lived tokens that open the speech gateway, each for one sign-in session of one user. Thread-safe.
///
/// A token opens connections for 10 minutes. A client that loses its connection later than that still holds the same
/// token, so the token also stays good while a connection runs that was opened with it, and for a minute after the last
/// one dropped, but never longer than 12 hours, nor beyond the sign-in session. It says itself, signed, whose it is and
/// when it was issued, so that nothing is kept of it until it opens something. What is open is known to the hooks, too,
/// so that a connection also outlives the service.
class SpeechTokens {
    struct Table;

public:
    using TimePoint = std::chrono::system_clock::time_point;
    using Clock = std::function<TimePoint()>;

    static constexpr std::chrono::minutes lifetime{10};
    static constexpr std::chrono::seconds grace{60};
    static constexpr std::chrono::hours longestUse{12};
    static constexpr std::size_t sessionBytes = 32;

    /// Whose a token is.
    struct Owner {
        std::int64_t user = 0;
        std::string session; ///< what the sign-in session is known by, `sessionBytes` bytes
    };
    /// What others know of sessions, and keep of tokens. Each may block.
    struct Hooks {
        std::function<bool(std::string_view session)> lasts = {}; ///< empty: every session does
        /// A token opens its first connection, or has lost its last one.
        std::function<void(const std::string& token, std::string_view session, bool open)> changed = {};
    };

    /// Signs with a random key.
    explicit SpeechTokens(Clock clock = std::chrono::system_clock::now);

    static constexpr std::size_t keyBytes = 32;
    static std::string randomKey();
    /// Signs with this key, and takes tokens of an earlier run that used it. Not while tokens are in use.
    void useKey(std::string key) { key_ = std::move(key); }
    /// Not while tokens are in use.
    void setHooks(Hooks hooks);
    /// Tokens of an earlier run that had a connection at its end: they open for a minute more.
    void recall(const std::vector<std::string>& tokens);

    /// A new token, 144 hexadecimal digits: seconds since 1970, random bytes and the user, 8 bytes each, big-endian,
    /// the session, and the first 16 bytes of their HMAC-SHA256.
    std::string issue(const Owner& owner) const;
    std::string issue() const { return issue(Owner{}); }

    /// Ends what runs of a sign-in session, or of all of a user's. New connections are the hooks' to refuse.
    void endSession(std::string_view session);
    void endUser(std::int64_t user);
    /// Ends what runs of sign-in sessions that the hooks know no more, however they ended. May block.
    void endLapsed();

    /// One connection's hold on a token; may outlive the SpeechTokens.
    class Session {
    public:
        Session(std::shared_ptr<Table> table, std::string token, int number, std::int64_t user);
        Session(Session&&) noexcept = default;
        Session& operator=(Session&&) = delete;
        ~Session();

        std::int64_t user() const { return user_; }
        /// Has that called, on any thread, when the sign-in session ends; at once where it has ended.
        void whenEnded(std::function<void()> act) const;

    private:
        std::shared_ptr<Table> table_;
        std::string token_;
        int number_;
        std::int64_t user_;
    };
    /// None when the token opens nothing. May block, as the hooks do.
    std::optional<Session> open(const std::string& token);

private:
    std::shared_ptr<Table> table_;
    std::string key_;
};

} // namespace parlowen::service
