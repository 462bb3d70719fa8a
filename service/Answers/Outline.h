#pragma once

#include "AnswerSource.h"

namespace parlowen::service {

/// An outline for an answer, composed from fixed texts by the kind of the question: in Chinese for a question with
/// Chinese characters in it, else in English. It says of itself that it is an outline, and
/// ends with the question's quotations.
std::string outlineFor(const Question& question);

/// Answers with outlines, line by line without a pause: for machines that have no language model.
class Outline final : public AnswerSource {
public:
    boost::asio::awaitable<void> answer(const Question& question, AnswerSink& sink) override;
};

} // namespace parlowen::service
