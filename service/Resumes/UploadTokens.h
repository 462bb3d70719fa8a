#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::service {

/// Credentials that let a user upload files, and nothing else, for a while, each of one sign-in session. Known in
/// memory alone. Thread-safe.
class UploadTokens {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;

    static constexpr std::chrono::minutes lifetime{60}; // a file is looked for meanwhile
    static constexpr std::size_t ofAUser = 4;           ///< a further one ends the oldest

    explicit UploadTokens(Clock clock = std::chrono::steady_clock::now)
        : clock_(std::move(clock)) {}

    /// Whose a token is. It is no good where the session has ended, which others know.
    struct Owner {
        std::int64_t user = 0;
        std::string session; ///< what the sign-in session is known by
    };
    std::string issue(const Owner& owner);
    /// Whose token it is; none when it is unknown or over.
    std::optional<Owner> ownerOf(std::string_view token);
    /// Ends all of a user's.
    void forget(std::int64_t userId);

private:
    struct Grant {
        Owner owner;
        TimePoint goodUntil;
    };

    Clock clock_;
    std::mutex mutex_;
    std::map<std::string, Grant> grants_; ///< by the hash of the token
};

} // namespace parlowen::service
