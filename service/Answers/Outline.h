#pragma once

#include "AnswerSource.h"

namespace parlowen::service {

/// An outline for an answer, composed from fixed texts by the kind of the question: in Chinese for a question with
/// Chinese characters in it, else in English. It says of itself that it is an outline.
std::string outlineFor(const Question& question);

/// Answers with outlines, in small pieces: for machines that have no language model.
class Outline final : public AnswerSource {
public:
    struct Pace {
        std::size_t charactersEach = 4;
        std::chrono::milliseconds pause{15}; ///< between two pieces; the first one goes out at once
    };

    Outline()
        : Outline(Pace{}) {}
    explicit Outline(Pace pace)
        : pace_(pace) {}

    boost::asio::awaitable<void> answer(const Question& question, AnswerSink& sink) override;

private:
    Pace pace_;
};

} // namespace parlowen::service
