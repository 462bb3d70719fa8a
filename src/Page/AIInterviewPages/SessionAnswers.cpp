#include "SessionAnswers.h"

#include <Foundation/MainQueue.h>

#include <utility>

namespace parlowen {

SessionAnswers::SessionAnswers(StreamingEnvironment streaming, QObject* parent)
    : QObject(parent)
    , streaming_(std::move(streaming)) {}

SessionAnswers::~SessionAnswers() {
    for (const auto& client : clients_)
        client->cancel();
}

void SessionAnswers::ask(const std::shared_ptr<StreamModel>& model) {
    const int number = static_cast<int>(model->id) + 1;
    follow(*model);
    streamModels_.push_back(model);
    growing_.insert(number);
    Q_EMIT happened(session::Question{number, model->txt});
    const std::shared_ptr<StreamingClient> client = StreamingClient::make(model, streaming_);
    clients_.push_back(client);
    client->start();
}

// Pieces arrive on the answers' own thread.
void SessionAnswers::follow(StreamModel& model) {
    const int number = static_cast<int>(model.id) + 1;
    model.setOnUpdate([self = QPointer(this), number, told = std::make_shared<qsizetype>(0)](const QString& whole) {
        const QString piece = QStringView(whole).sliced(*told).toString();
        *told = whole.size();
        if (!piece.isEmpty())
            onMain(self, [self, number, piece] { self->grew(number, piece); });
    });
    model.setOnGrounds([self = QPointer(this), number](const QStringList& lines) {
        onMain(self, [self, number, lines] {
            if (self->growing_.contains(number))
                Q_EMIT self->happened(session::AnswerGrounds{number, lines});
        });
    });
    model.setOnEnd([self = QPointer(this), number](const AnswerEnd& end) {
        onMain(self, [self, number, end] { self->ended(number, end); });
    });
}

void SessionAnswers::grew(int number, const QString& piece) {
    if (growing_.contains(number))
        Q_EMIT happened(session::AnswerPiece{number, piece});
}

void SessionAnswers::ended(int number, const AnswerEnd& end) {
    std::erase_if(clients_, [number](const auto& client) { return client->model()->id + 1 == number; });
    if (growing_.erase(number) > 0)
        Q_EMIT happened(session::AnswerEnded{number, end});
}

void SessionAnswers::endAll(AnswerEnd::Outcome outcome) {
    for (const int number : std::exchange(growing_, {}))
        Q_EMIT happened(session::AnswerEnded{number, {outcome, AnswerEnd::Cause::None, {}}});
}

void SessionAnswers::drop() {
    endAll(AnswerEnd::Outcome::Dropped);
    streamModels_.clear();
    clients_.clear();
}

void SessionAnswers::cutOff() { endAll(AnswerEnd::Outcome::Cancelled); }

} // namespace parlowen

#include "moc_SessionAnswers.cpp"
