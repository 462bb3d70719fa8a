#pragma once

#include "Answers/AnswerSource.h"
#include "ChatClient.h"
#include "Exchanges.h"
#include "Http/UserPlaces.h"

namespace parlowen::service {

/// Answers by a language model, each piece passed on as it comes. Where the model fails before its first piece, a line
/// says so and the answer of `fallback` follows; later, a line ends what there is.
class ChatAnswers final : public AnswerSource {
public:
    struct Limits {
        std::size_t atOnce = 32; ///< answers at the same time; one more is refused with words
        std::size_t atOnceOfAccount = 4;
        std::size_t answerBytes = std::size_t{32} * 1024; ///< after which the model is stopped
    };

    /// Both outlive this; the client is stopped before an executor ends that answers run on.
    ChatAnswers(ChatClient& client, AnswerSource& fallback, Limits limits);

    boost::asio::awaitable<void> answer(const Question& question, AnswerSink& sink) override;

    Exchanges exchanges;
    /// Which lines of the résumé an answer leans on; empty: nothing is said of it. Thread-safe.
    std::function<std::vector<std::string>(const Question&, std::string_view answer)> grounds;

private:
    boost::asio::awaitable<void> ask(const Question& question, AnswerSink& sink);
    boost::asio::awaitable<void> sayGrounds(const Question& question, std::string_view whole, AnswerSink& sink);

    ChatClient& client_;
    AnswerSource& fallback_;
    const std::size_t answerBytes_;
    UserPlaces places_;
};

/// The line that tells a user what went wrong, in the question's language. Never a text of the endpoint's.
std::string troubleLine(ChatTrouble trouble, std::chrono::seconds pause, bool inChinese);

/// The body of a chat completion's request.
nlohmann::json chatRequest(const ChatEndpoint& endpoint, const Question& question);

} // namespace parlowen::service
