#pragma once

#include <Network/HttpDatas.h>

#include <QDateTime>
#include <QString>
#include <memory>
#include <optional>

namespace parlowen {

class SpeechRecognitionTool;

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
    /// The running recognition, stopped when no token can be had; null when there is none.
    virtual std::shared_ptr<SpeechRecognitionTool> speechTool() = 0;
};

/// Fetches the token and region of the speech service; tries a failed fetch three times more, then stops recognition.
/// Main thread.
class AzTokenNewManager : public std::enable_shared_from_this<AzTokenNewManager> {
public:
    /// Must be made with std::make_shared; replies that come after it is gone are dropped.
    explicit AzTokenNewManager(HttpDatas& http);

    int action = 1; ///< 1 the first fetch of a session, 2 a refresh
    int retry = 0;  ///< retries made in this cycle, 0 to 3

    /// Not owned; whoever sets it takes it away (null) before it is destroyed.
    void setDelegate(AzTokenNewDelegate* delegate);

    /// Starts one request; the outcome reaches the delegate later.
    void requestToken();
    /// Starts a new cycle, for a token that replaces an earlier one.
    void refreshToken();

private:
    void handleReply(FResponseStatus status, const std::optional<JSON>& reply);
    void handleFailure();

    HttpDatas& http_;
    AzTokenNewDelegate* delegate_ = nullptr;
    std::optional<QDateTime> lastRequestTime_;
};

} // namespace parlowen
