#pragma once

#include <boost/asio/awaitable.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// What was asked before in an interview, and what was answered.
struct Exchange {
    std::string asked;
    std::string answered;
};

/// What is asked, as the application sends it.
struct Question {
    std::int64_t type = 1; ///< 1 concise, 2 detailed
    std::string text = {};
    std::string position = {}; ///< that the candidate interviews for; may be empty
    std::string originalLanguage = {};
    std::string translationLanguage = {};
    std::int64_t account = 0;             ///< of the candidate; 0: unknown
    std::vector<std::string> quotes = {}; ///< lines of the candidate's résumé that bear on it, the best first, verbatim
    std::vector<std::string> excerpt = {}; ///< of the résumé, in its order: these lines and what they belong under
    std::vector<Exchange> earlier = {};    ///< of this interview, the oldest first
};

/// Takes an answer while it grows. After a false nobody reads any more, and the source returns.
class AnswerSink {
public:
    virtual ~AnswerSink() = default;
    /// Passes a piece on at once.
    virtual boost::asio::awaitable<bool> piece(std::string_view text) = 0;
    /// Says which lines of the résumé the answer leans on; after its last piece.
    virtual boost::asio::awaitable<bool> grounds(const std::vector<std::string>& lines) = 0;
    /// Says that what comes in the place of the answer, or of its rest, is no answer.
    virtual boost::asio::awaitable<bool> failed() = 0;
    /// Has that called as soon as nobody reads any more, on the executor of the answer.
    virtual void whenGone(std::function<void()> act) = 0;
};

/// Where answers come from. One source serves all questions, several at the same time.
class AnswerSource {
public:
    virtual ~AnswerSource() = default;
    virtual boost::asio::awaitable<void> answer(const Question& question, AnswerSink& sink) = 0;
};

} // namespace parlowen::service
