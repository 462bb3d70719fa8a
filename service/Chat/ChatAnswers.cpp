#include "ChatAnswers.h"

#include "Answers/Text.h"
#include "ChatPrompt.h"
#include "Http/Log.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <deque>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
using Clock = std::chrono::steady_clock;

struct TroubleText {
    ChatTrouble trouble;
    std::string_view chinese;
    std::string_view english;
};

constexpr TroubleText troubleTexts[] = {
    {ChatTrouble::Unreachable, "无法连接语言模型", "The language model cannot be reached"},
    {ChatTrouble::BadKey, "语言模型不接受所配置的密钥", "The language model does not accept the configured key"},
    {ChatTrouble::NoModel, "没有找到所配置的语言模型", "The configured language model was not found"},
    {ChatTrouble::Busy, "语言模型的请求过多", "The language model has too many requests"},
    {ChatTrouble::Refused, "语言模型出错", "The language model reports an error"},
    {ChatTrouble::Broken, "语言模型的回复无法识别", "The language model's reply cannot be read"},
    {ChatTrouble::Cut, "语言模型的回复中断", "The language model's reply broke off"},
    {ChatTrouble::TooLong, "回答达到长度上限", "The answer reached its greatest length"},
    {ChatTrouble::Filtered, "回答被语言模型的内容过滤截断", "The language model's content filter ended the answer"},
    {ChatTrouble::Stalled, "语言模型长时间没有回复", "The language model did not reply in time"},
    {ChatTrouble::Endless, "语言模型的回复过长，已停止", "The language model would not stop and was cut off"},
};

constexpr std::string_view refusedChinese = "同时进行的回答过多，请稍后再提问。";
constexpr std::string_view refusedEnglish = "Too many answers are under way; ask again in a moment.";

/// One request, as the coroutine of its answer sees it. All runs on that coroutine's executor but receive(), to which
/// alone `left_` and `over_` belong.
class Conversation : public std::enable_shared_from_this<Conversation> {
public:
    Conversation(asio::any_io_executor executor, std::size_t mostBytes)
        : executor_(std::move(executor))
        , left_(mostBytes)
        , changed_(executor_) {}

    /// On the client's thread. However slowly the answer is read, no more of it waits than it may have.
    void receive(ChatEvent event) {
        if (over_)
            return;
        over_ = event.isEnd || event.piece.size() > left_;
        if (over_ && !event.isEnd)
            event = {.isEnd = true, .trouble = ChatTrouble::Endless};
        left_ -= event.piece.size();
        asio::post(executor_, [self = shared_from_this(), event = std::move(event)]() mutable {
            self->events_.push_back(std::move(event));
            self->changed_.cancel();
        });
    }
    void leave() {
        gone_ = true;
        changed_.cancel();
    }
    bool isGone() const { return gone_; }

    /// The next event, or none when the time is over or the client has gone.
    asio::awaitable<std::optional<ChatEvent>> next(Clock::time_point deadline) {
        boost::system::error_code ignored;
        while (events_.empty() && !gone_ && Clock::now() < deadline) {
            changed_.expires_at(deadline);
            co_await changed_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
        }
        if (events_.empty() || gone_)
            co_return std::nullopt;
        std::optional<ChatEvent> event(std::move(events_.front()));
        events_.pop_front();
        co_return event;
    }

private:
    asio::any_io_executor executor_;
    std::size_t left_; ///< bytes
    bool over_ = false;
    asio::steady_timer changed_;
    std::deque<ChatEvent> events_;
    bool gone_ = false;
};

/// Drops its request when the answer ends by any way.
class Dropping {
public:
    Dropping(ChatClient& client, std::size_t request)
        : client_(client)
        , request_(request) {}
    ~Dropping() {
        if (request_ != 0)
            client_.cancel(request_);
    }
    Dropping(const Dropping&) = delete;
    Dropping& operator=(const Dropping&) = delete;
    void keep() { request_ = 0; }

private:
    ChatClient& client_;
    std::size_t request_;
};

} // namespace

std::string troubleLine(ChatTrouble trouble, std::chrono::seconds pause, bool inChinese) {
    const auto* text = std::find_if(std::begin(troubleTexts), std::end(troubleTexts),
                                    [trouble](const TroubleText& entry) { return entry.trouble == trouble; });
    std::string line = inChinese ? "（" : "(";
    line.append(inChinese ? text->chinese : text->english);
    if (pause.count() > 0)
        line.append(inChinese ? "，请在 " + std::to_string(pause.count()) + " 秒后再试"
                              : "; try again in " + std::to_string(pause.count()) + " s");
    return line.append(inChinese ? "）" : ")");
}

nlohmann::json chatRequest(const ChatEndpoint& endpoint, const Question& question) {
    return {{"model", endpoint.model},
            {"temperature", endpoint.temperature},
            {"max_tokens", endpoint.mostTokens},
            {"stream", true},
            {"messages", chatMessages(question)}};
}

ChatAnswers::ChatAnswers(ChatClient& client, AnswerSource& fallback, Limits limits)
    : client_(client)
    , fallback_(fallback)
    , answerBytes_(limits.answerBytes)
    , places_(limits.atOnce, limits.atOnceOfAccount) {}

asio::awaitable<void> ChatAnswers::answer(const Question& question, AnswerSink& sink) {
    if (const auto place = places_.take(question.account)) {
        auto asking = ask(question, sink);
        co_await std::move(asking);
    } else {
        co_await sink.failed();
        co_await sink.piece(hasChinese(question.text) ? refusedChinese : refusedEnglish);
    }
}

asio::awaitable<void> ChatAnswers::sayGrounds(const Question& question, std::string_view whole, AnswerSink& sink) {
    const auto lines = grounds ? grounds(question, whole) : std::vector<std::string>();
    if (!lines.empty())
        co_await sink.grounds(lines);
}

asio::awaitable<void> ChatAnswers::ask(const Question& question, AnswerSink& sink) {
    const auto executor = co_await asio::this_coro::executor;
    const auto conversation = std::make_shared<Conversation>(executor, answerBytes_);
    sink.whenGone([conversation] { conversation->leave(); });
    const auto started = Clock::now();
    Dropping request(client_, client_.send(chatRequest(client_.endpoint(), question), [conversation](ChatEvent event) {
        conversation->receive(std::move(event));
    }));
    std::string whole;
    ChatEvent end;
    while (!end.isEnd) {
        const auto deadline =
            whole.empty() ? started + client_.endpoint().firstPiece : Clock::now() + client_.endpoint().stall;
        auto event = co_await conversation->next(deadline);
        if (conversation->isGone())
            co_return;
        if (!event)
            event.emplace(ChatEvent{.isEnd = true, .trouble = ChatTrouble::Stalled});
        if (event->isEnd) {
            end = *std::move(event);
            continue;
        }
        whole.append(event->piece);
        const bool wanted = co_await sink.piece(event->piece);
        if (!wanted)
            co_return;
    }
    if (end.trouble == ChatTrouble::None && whole.empty())
        end.trouble = ChatTrouble::Broken; // an end without an answer
    if (end.trouble == ChatTrouble::Stalled || end.trouble == ChatTrouble::Endless)
        logLine("language model: " + troubleLine(end.trouble, end.pause, false));
    if (end.trouble == ChatTrouble::None) {
        request.keep(); // what follows the end is read, so that the connection can be used again
        exchanges.add(question.account, {question.text, whole});
        co_await sayGrounds(question, whole, sink);
        co_return;
    }
    co_await sink.failed();
    const std::string line = troubleLine(end.trouble, end.pause, hasChinese(question.text));
    if (!whole.empty()) {
        co_await sink.piece("\n" + line);
        co_await sayGrounds(question, whole, sink);
        co_return;
    }
    const bool wanted = co_await sink.piece(line + "\n");
    if (!wanted)
        co_return;
    auto outline = fallback_.answer(question, sink);
    co_await std::move(outline);
}

} // namespace parlowen::service
