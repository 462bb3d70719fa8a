#include "AnswerRoutes.h"

#include "Http/Log.h"
#include "Http/Wording.h"
#include "Text.h"

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr std::string_view endMark = "@@";
constexpr std::size_t questionBytes = std::size_t{1'024} * 1'024;
constexpr std::size_t longestQuestion = 4'000; ///< characters
constexpr std::size_t longestPosition = 60;
constexpr std::size_t longestLanguage = 60;

/// Clients take every "data: " out of a line, so one in the content is written with an escape.
std::string event(std::string_view content) {
    const std::string json = compactJson({{"data", {{"content", content}}}});
    return "data: " + replaced(json, "data: ", "data\\u003a ") + "\n\n";
}

class EventSink final : public AnswerSink {
public:
    explicit EventSink(EventStream& events)
        : events_(events) {}

    asio::awaitable<bool> piece(std::string_view text) override {
        // Two pieces, where one would be the end mark.
        const std::string lines = text == endMark ? event("@") + event("@") : event(text);
        co_return co_await events_.send(lines);
    }
    /// In a comment, which every reader of event streams passes over.
    asio::awaitable<bool> grounds(const std::vector<std::string>& resumeLines) override {
        const std::string line = ": grounds " + compactJson(resumeLines) + "\n\n";
        co_return co_await events_.send(line);
    }
    asio::awaitable<bool> failed() override { co_return co_await events_.send(": failed\n\n"); }
    void whenGone(std::function<void()> act) override { events_.whenGone(std::move(act)); }

private:
    EventStream& events_;
};

Question questionFrom(const nlohmann::json& body) {
    Question question;
    const auto type = body.find("type");
    if (type != body.end() && type->is_number_integer())
        question.type = type->get<std::int64_t>();
    question.text = tidied(textMember(body, "txt"), longestQuestion);
    question.position = tidied(textMember(body, "prompt"), longestPosition);
    question.originalLanguage = tidied(textMember(body, "original_language"), longestLanguage);
    question.translationLanguage = tidied(textMember(body, "trans_language"), longestLanguage);
    return question;
}

asio::awaitable<void> answer(AnswerSource& source, const Question& question, AnswerSink& sink) {
    bool failed = false;
    try {
        auto answering = source.answer(question, sink);
        co_await std::move(answering);
    } catch (const std::exception& problem) {
        logProblem("answer", problem);
        failed = true;
    }
    if (failed) {
        co_await sink.failed();
        co_await sink.piece(hasChinese(question.text) ? "回答中断，请重新提问。"
                                                      : "The answer broke off; please ask again.");
    }
}

/// One question and where its answer comes from.
struct Asked {
    Question question;
    std::string token;
    bool readsEnglish = false; ///< as the client says
    boost::asio::any_io_executor workers;
};

/// What is known of the language where there is no question that shows it.
bool speaksEnglish(const Asked& asked) {
    const std::string& spoken = asked.question.originalLanguage;
    return asked.readsEnglish || spoken.starts_with("English") || spoken.starts_with("英语");
}

/// What cannot be looked up stays out of the answer.
asio::awaitable<void> fillIn(Asked& asked, const QuestionFiller& fill) {
    try {
        auto filling = fill(asked.token, asked.question, asked.workers);
        co_await std::move(filling);
    } catch (const std::exception& problem) {
        logProblem("question", problem);
    }
}

asio::awaitable<void> stream(AnswerSource& source, Asked asked, const QuestionFiller& fill, EventStream& events) {
    EventSink sink(events);
    if (asked.question.text.empty()) {
        co_await sink.failed();
        co_await sink.piece(speaksEnglish(asked) ? "There was no question." : "没有收到问题内容。");
    } else {
        if (fill)
            co_await fillIn(asked, fill);
        co_await answer(source, asked.question, sink);
    }
    const std::string last = event(endMark);
    co_await events.send(last);
}

} // namespace

void addAnswerRoutes(Router& router, AnswerSource& source, Guard signedInOnly, QuestionFiller fill) {
    const auto handle =
        [&source, fill = std::move(fill)](const HttpRequest& request) -> std::variant<EventSource, HttpResponse> {
        const auto body = jsonObject(request.body());
        if (!body)
            return badRequest();
        Asked asked{questionFrom(*body), std::string(request.bearerToken()),
                    prefersEnglish(request.header("Accept-Language")), request.origin.workers};
        return [&source, &fill, asked = std::move(asked)](EventStream& events) {
            return stream(source, asked, fill, events);
        };
    };
    router.stream(verb::post, apiPath("/ai/meeting"), handle,
                  {.right = std::move(signedInOnly), .bodyBytes = questionBytes});
}

} // namespace parlowen::service
