#include "AzTokenNewManager.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr int maxRetries = 3;
constexpr std::chrono::milliseconds firstPause{250}; // each further one is twice as long
constexpr std::chrono::milliseconds longestPause{10'000};
constexpr std::chrono::seconds peace{60}; // without a need to ask again, after which pauses grow anew

} // namespace

AzTokenNewManager::Clock AzTokenNewManager::Clock::system() {
    return {[] { return std::chrono::seconds(QDateTime::currentSecsSinceEpoch()); },
            [](std::chrono::milliseconds pause, std::function<void()> work) {
                onMainAfter(std::chrono::duration<double>(pause).count(), std::move(work));
            }};
}

AzTokenNewManager::AzTokenNewManager(HttpDatas& http, Clock clock)
    : http_(http)
    , clock_(std::move(clock)) {}

void AzTokenNewManager::setDelegate(AzTokenNewDelegate* delegate) { delegate_ = delegate; }

void AzTokenNewManager::requestToken() {
    const QDateTime now = QDateTime::currentDateTime();
    const double elapsed = lastRequestTime_ ? static_cast<double>(lastRequestTime_->msecsTo(now)) / 1000 : 0.0;
    consoleLog("AzToken请求[间隔]: " + QString::number(elapsed, 'f', 1));
    consoleLog("AzToken请求[开始]: " + now.toString("yyyy-MM-dd HH:mm:ss"));
    lastRequestTime_ = now;
    http_.requestData("/microsoft/get_token", HttpMethod::GET, QJsonObject(), std::nullopt,
                      [weak = weak_from_this()](FResponseStatus status, const std::optional<JSON>& reply,
                                                const std::optional<QString>& /*message*/) {
                          if (const std::shared_ptr<AzTokenNewManager> self = weak.lock())
                              self->handleReply(status, reply);
                      });
}

void AzTokenNewManager::refreshToken() {
    action = 2;
    retry = 0;
    gaveUp_ = false;
    requestToken();
}

void AzTokenNewManager::handleReply(FResponseStatus status, const std::optional<JSON>& reply) {
    if (status != FResponseStatus::success) {
        handleFailure();
        return;
    }
    const JSON data = reply.value_or(JSON())["data"];
    const AzTokenModel token{data["token"].stringValue(), data["area"].stringValue()};
    if (delegate_ != nullptr) {
        if (action == 1)
            delegate_->tokenDidFetch(token);
        else
            delegate_->tokenDidRefresh(token);
    }
    retry = 0;
    gaveUp_ = false;
}

void AzTokenNewManager::handleFailure() {
    if (retry < maxRetries) {
        ++retry;
        consoleLog("请求重试: " + QString::number(retry));
        requestToken();
        return;
    }
    const bool gaveUp = std::exchange(gaveUp_, true);
    if (!gaveUp)
        consoleLog("请求终止");
    if (delegate_ == nullptr)
        return;
    if (!gaveUp)
        consoleLog("获取 token 失败，停止轮训。");
    delegate_->tokenDidFail();
    askAgain();
}

void AzTokenNewManager::renewToken() {
    action = 2;
    askAgain();
}

// `retry` stays as it is: in a cycle that has given up, each pause is followed by one request.
void AzTokenNewManager::askAgain() {
    if (pausing_)
        return;
    const std::chrono::seconds now = clock_.now();
    const bool isPeace = !lastAsked_ || std::chrono::abs(now - *lastAsked_) > peace;
    pause_ = isPeace ? firstPause : std::min(pause_ * 2, longestPause);
    lastAsked_ = now;
    pausing_ = true;
    clock_.after(pause_, [weak = weak_from_this()] {
        const std::shared_ptr<AzTokenNewManager> self = weak.lock();
        if (!self)
            return;
        self->pausing_ = false;
        if (self->delegate_ != nullptr)
            self->requestToken();
    });
}

} // namespace parlowen
