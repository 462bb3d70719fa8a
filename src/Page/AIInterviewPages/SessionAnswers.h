#pragma once

#include "SessionEvent.h"

#include <Tools/StreamingClient.h>

#include <QObject>
#include <memory>
#include <set>
#include <vector>

namespace parlowen {

/// The answers that a session asks for: sends each question, tells of the answer piece by piece, and of its end. Main
/// thread only.
class SessionAnswers : public QObject {
    Q_OBJECT
public:
    explicit SessionAnswers(StreamingEnvironment streaming, QObject* parent = nullptr);
    /// Ends the answers that are still under way.
    ~SessionAnswers() override;

    /// The answers in the list, oldest first.
    const std::vector<std::shared_ptr<StreamModel>>& streamModels() const { return streamModels_; }
    /// The clients that carry those which have not ended.
    const std::vector<std::shared_ptr<StreamingClient>>& clients() const { return clients_; }

    /// A question is being said, or may be asked soon: it will find a connection open.
    void prepare() const { StreamingClient::prepare(streaming_); }
    /// Lists the answer, tells that it is asked for, and sends its question.
    void ask(const std::shared_ptr<StreamModel>& model);
    /// Empties the list. What still streams goes on unseen, and counts as dropped.
    void drop();
    /// The session ends: no answer grows any more.
    void cutOff();

Q_SIGNALS:
    void happened(const SessionEvent& event);

private:
    void follow(StreamModel& model);
    void grew(int number, const QString& piece);
    void ended(int number, const AnswerEnd& end);
    void endAll(AnswerEnd::Outcome outcome);

    const StreamingEnvironment streaming_;
    std::vector<std::shared_ptr<StreamModel>> streamModels_;
    std::vector<std::shared_ptr<StreamingClient>> clients_;
    std::set<int> growing_; ///< numbers of the listed answers that have not ended
};

} // namespace parlowen
