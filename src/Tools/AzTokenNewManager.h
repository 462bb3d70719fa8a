#pragma once

#include <Network/HttpDatas.h>

#include <QDateTime>
#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace parlowen {

/// What opens the speech service.
struct AzTokenModel {
    QString token; ///< authorisation token
    QString area;  ///< the service's region, or its base URL
    bool operator==(const AzTokenModel&) const = default;
};

/// Receives the tokens; in practice the session controller. Main thread.
class AzTokenNewDelegate {
public:
    virtual ~AzTokenNewDelegate() = default;
    /// The session's first token.
    virtual void tokenDidFetch(const AzTokenModel& token) = 0;
    /// A later one.
    virtual void tokenDidRefresh(const AzTokenModel& token) = 0;
    /// No token can be had for now; it is asked for again. What runs with an earlier one is not touched by that.
    virtual void tokenDidFail() = 0;
};

/// Fetches the token and region of the speech service. A failed fetch is tried three times more at once, then again and
/// again with pauses that grow up to 10 s. Main thread.
class AzTokenNewManager : public std::enable_shared_from_this<AzTokenNewManager> {
public:
    /// The time of pauses; tests have one of their own.
    struct Clock {
        std::function<std::chrono::seconds()> now;
        std::function<void(std::chrono::milliseconds pause, std::function<void()> work)> after;
        static Clock system();
    };

    /// Must be made with std::make_shared; replies that come after it is gone are dropped.
    explicit AzTokenNewManager(HttpDatas& http, Clock clock = Clock::system());

    int action = 1; ///< 1 the first fetch of a session, 2 a refresh
    int retry = 0;  ///< retries made in this cycle, 0 to 3

    /// Not owned; whoever sets it takes it away (null) before it is destroyed.
    void setDelegate(AzTokenNewDelegate* delegate);

    /// Starts one request; the outcome reaches the delegate later.
    void requestToken();
    /// Starts a new cycle, for a token that replaces an earlier one.
    void refreshToken();
    /// Asks for another token after a pause, since the last one was refused. Does nothing while that is under way.
    void renewToken();

private:
    void askAgain();
    void handleReply(FResponseStatus status, const std::optional<JSON>& reply);
    void handleFailure();

    HttpDatas& http_;
    AzTokenNewDelegate* delegate_ = nullptr;
    std::optional<QDateTime> lastRequestTime_;
    Clock clock_;
    std::optional<std::chrono::seconds> lastAsked_; ///< when askAgain() last began a pause
    std::chrono::milliseconds pause_{0};
    bool pausing_ = false;
    bool gaveUp_ = false; ///< in this cycle, and said so
};

} // namespace parlowen
