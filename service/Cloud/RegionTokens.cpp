#include "RegionTokens.h"

#include "Http/Log.h"

#include <algorithm>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr std::size_t longestToken = std::size_t{4} * 1024;
constexpr std::chrono::seconds fetchLimit{10};

bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

/// What an operator reads in the log, and a user on the screen.
struct TroubleWords {
    std::string_view log;
    std::string_view user;
};

TroubleWords troubleOf(const UpstreamEnd& end) {
    switch (end.status) {
    case 0:
        return end.isLate ? TroubleWords{"did not answer in time", "云语音服务没有及时回复，请稍后再试"}
                          : TroubleWords{"cannot be reached", "无法连接云语音服务，请稍后再试"};
    case 200:
        return {"sent no token", "云语音服务的回复无法识别，请稍后再试"};
    case 401:
    case 403:
        return {"does not accept the key", "云语音服务不接受所配置的密钥，请联系管理员"};
    case 404:
        return {"is not there: check region and region-token-url", "没有找到所配置的云语音服务，请联系管理员"};
    case 429:
        return {"has too many requests", "云语音服务的请求过多，请稍后再试"};
    default:
        return {"reports an error", "云语音服务出错，请稍后再试"};
    }
}

} // namespace

std::string issuerOf(const std::string& region) {
    const char* domain = region.starts_with("china")   ? "azure.cn"
                         : region.starts_with("usgov") ? "microsoft.us"
                                                       : "microsoft.com";
    return "https://" + region + ".api.cognitive." + domain + "/sts/v1.0/issueToken";
}

RegionTokens::RegionTokens(CloudRegion region, Clock clock)
    : region_(std::move(region))
    , clock_(std::move(clock)) {}

asio::awaitable<RegionTokens::Outcome> RegionTokens::token() {
    const auto start = [this](auto handler) {
        const auto executor = asio::get_associated_executor(handler);
        const auto waiting = std::make_shared<decltype(handler)>(std::move(handler));
        ask([executor, waiting](const Outcome& outcome) {
            asio::post(executor, [waiting, outcome] { (*waiting)(outcome); });
        });
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>, void(Outcome)>(start, asio::use_awaitable);
}

/// What can be said without a request.
std::optional<RegionTokens::Outcome> RegionTokens::known() const {
    const auto now = clock_();
    const auto age = now - fetchedAt_;
    if (!token_.empty() && age < freshFor)
        return token_;
    if (problem_.empty() || now >= quietUntil_)
        return std::nullopt;
    return !token_.empty() && age < usableFor ? Outcome(token_) : tl::unexpected(problem_);
}

void RegionTokens::ask(Waiter waiter) {
    std::unique_lock lock(mutex_);
    if (const auto outcome = known()) {
        lock.unlock();
        return waiter(*outcome);
    }
    waiters_.push_back(std::move(waiter));
    const bool isFirst = waiters_.size() == 1;
    lock.unlock();
    if (isFirst)
        fetch();
}

void RegionTokens::fetch() {
    const auto body = std::make_shared<std::string>();
    UpstreamClient::Handlers handlers;
    handlers.take = [body](std::string_view bytes) {
        body->append(bytes);
        return body->size() <= longestToken ? UpstreamClient::Reading::On : UpstreamClient::Reading::Stop;
    };
    handlers.end = [this, body](const UpstreamEnd& ended) -> std::optional<UpstreamRequest> {
        end(ended, *body);
        return std::nullopt;
    };
    upstream_.send(
        {.url = region_.tokenUrl,
         .headers = {"Ocp-Apim-Subscription-Key: " + region_.key, "Content-Type: application/x-www-form-urlencoded"},
         .whole = fetchLimit},
        std::move(handlers));
}

void RegionTokens::end(const UpstreamEnd& end, const std::string& body) {
    std::vector<Waiter> waiters;
    std::optional<Outcome> outcome;
    {
        const std::lock_guard lock(mutex_);
        if (end.status == 200 && end.isWhole && isToken(body)) {
            token_ = body;
            fetchedAt_ = clock_();
            problem_.clear();
        } else {
            const TroubleWords trouble = troubleOf(end);
            problem_ = trouble.user;
            quietUntil_ = clock_() + std::clamp(end.pause, pauseAfterFailure, longestPause);
            logLine("cloud region " + region_.name + ": the issuer of its tokens " + std::string(trouble.log) + " (" +
                    end.words + ")");
        }
        outcome = known();
        waiters.swap(waiters_);
    }
    for (const Waiter& waiter : waiters)
        waiter(*outcome);
}

} // namespace parlowen::service
