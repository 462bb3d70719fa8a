#include "SessionAnswers.h"

#include <Foundation/MainQueue.h>

#include <mutex>
#include <utility>

namespace parlowen {

namespace {

/// What has come of an answer and is not told yet. Any thread.
class Untold {
public:
    /// The answer so far; true when nothing waited before and something does now.
    bool add(const QString& whole) {
        const std::lock_guard lock(mutex_);
        const bool wasEmpty = text_.isEmpty();
        text_ += QStringView(whole).sliced(known_);
        known_ = whole.size();
        return wasEmpty && !text_.isEmpty();
    }
    QString take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(text_, {});
    }

private:
    std::mutex mutex_;
    QString text_;
    qsizetype known_ = 0; ///< of the whole answer
};

} // namespace

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

// Pieces arrive on the answers' own thread. Those that come before the main thread is free for them are told as one.
void SessionAnswers::follow(StreamModel& model) {
    const int number = static_cast<int>(model.id) + 1;
    model.setOnUpdate([self = QPointer(this), number, untold = std::make_shared<Untold>()](const QString& whole) {
        if (untold->add(whole))
            onMain(self, [self, number, untold] { self->grew(number, untold->take()); });
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
