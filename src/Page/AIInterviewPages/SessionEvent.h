#pragma once

#include <Network/KXTranslationHistoryDetailsModel.h>
#include <Tools/StreamModel.h>

#include <QStringList>
#include <variant>

/// What can happen in a session. Rows and answers are numbered from 1.
namespace parlowen::session {

/// The session begins to listen to that sound.
struct Started {
    QString sound;
};
/// Recognition runs.
struct Recognizing {};
/// The sentence in progress, with its translation where there is one; it will become the row of that number.
struct Partial {
    int number;
    KXTranslationHistoryDetailsModel row;
};
/// A finished sentence, with its translation where there is one.
struct Sentence {
    int number;
    KXTranslationHistoryDetailsModel row;
};
/// The translation of a finished sentence, which had none when it was told.
struct Translated {
    int number;
    KXTranslationHistoryDetailsModel row;
};
/// Behind the rows so far, so many seconds were not heard.
struct Missed {
    int seconds;
};
/// Manual mode: a sentence was added to the question box.
struct Collected {
    QString sentence;
};
/// Manual mode: the question box was emptied for the question that follows, and the list of answers with it.
struct Taken {};
/// An answer is asked for.
struct Question {
    int number; ///< of the answer
    QString text;
};
/// The next piece of that answer.
struct AnswerPiece {
    int number;
    QString piece;
};
/// That answer leans on these lines of the résumé.
struct AnswerGrounds {
    int number;
    QStringList lines;
};
/// That answer grows no more.
struct AnswerEnded {
    int number;
    AnswerEnd end;
};
/// How it stands with what is heard and recognised, in a few words; `plain` when there is nothing to do about it.
struct Status {
    QString text;
    bool plain;
};
/// Something that was wanted does not come, in plain words.
struct Problem {
    QString text;
};
struct Warning {
    QString text;
};
/// The session is over.
struct Ended {
    QString summary;
};

} // namespace parlowen::session

namespace parlowen {

/// One thing that happens in a session: the one form in which windows, the terminal, programs that read along and
/// whoever keeps a history are told. A value.
using SessionEvent = std::variant<session::Started, session::Recognizing, session::Partial, session::Sentence,
                                  session::Translated, session::Missed, session::Collected, session::Taken,
                                  session::Question, session::AnswerPiece, session::AnswerGrounds, session::AnswerEnded,
                                  session::Status, session::Problem, session::Warning, session::Ended>;

/// A visitor made of functions: `std::visit(SessionHandler{[](const session::Sentence&) { … }, [](const auto&) {}},
/// event)`.
template<class... Functions>
struct SessionHandler : Functions... {
    using Functions::operator()...;
};
template<class... Functions>
SessionHandler(Functions...) -> SessionHandler<Functions...>;

} // namespace parlowen
