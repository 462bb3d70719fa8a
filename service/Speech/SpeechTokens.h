#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::service {

/// The short-lived tokens that open the speech gateway. They live in memory only. Thread-safe.
///
/// A token opens connections for 10 minutes. A client that loses its connection later than that still holds the same
/// token, so the token also stays good while a session runs that was opened with it, and for a minute after the last
/// one dropped.
class SpeechTokens {
    struct Record;
    struct Table;

public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;

    static constexpr std::chrono::minutes lifetime{10};
    static constexpr std::chrono::seconds grace{60};

    explicit SpeechTokens(Clock clock = std::chrono::steady_clock::now);

    /// A new random token: 64 hexadecimal digits.
    std::string issue();
    /// Whether the token opens a connection now.
    bool opens(std::string_view token);

    /// Keeps its token good for as long as it exists; may outlive the SpeechTokens.
    class Session {
    public:
        Session(std::shared_ptr<Table> table, std::string token);
        Session(Session&&) noexcept = default;
        Session& operator=(Session&&) = delete;
        ~Session();

    private:
        std::shared_ptr<Table> table;
        std::string token;
    };
    /// None when the token opens nothing.
    std::optional<Session> open(std::string_view token);

private:
    std::shared_ptr<Table> table;
};

} // namespace parlowen::service
