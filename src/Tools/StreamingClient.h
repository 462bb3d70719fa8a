#pragma once

#include "AnswerStreamParser.h"
#include "StreamModel.h"

#include <Foundation/LocalTrust.h>
#include <Network/ApiBase.h>

#include <QNetworkRequest>
#include <QPointer>
#include <QString>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QNetworkReply;

namespace parlowen {

/// What an answer request needs to know of the world.
struct StreamingEnvironment {
    QString baseUrl = ApiBase::builtIn();
    std::function<std::optional<QString>()> loginToken; ///< asked at the start of each request, on its caller's thread
    LocalTrust trust;
    std::chrono::milliseconds timeout = std::chrono::seconds(60); ///< bounds each wait in which nothing arrives
};

/// Sends one question to the backend and adds the answer to its model piece by piece as it streams in.
///
/// Parsing and the model's callbacks run on a background thread, one after the other, never on the main thread. A
/// started client lives as long as its connection, even when nobody holds it any more. It is never started again.
class StreamingClient : public std::enable_shared_from_this<StreamingClient> {
public:
    static std::shared_ptr<StreamingClient> make(std::shared_ptr<StreamModel> model, StreamingEnvironment environment);
    ~StreamingClient();
    StreamingClient(const StreamingClient&) = delete;
    StreamingClient& operator=(const StreamingClient&) = delete;

    /// Opens a connection for the question that is about to come. Any thread.
    static void prepare(const StreamingEnvironment& environment);

    /// Sends the request and returns at once. Nothing is sent when the URL cannot be formed. Any thread.
    void start();

    /// Ends the connection; no line of the answer is handled any more. Any thread.
    void cancel();

    bool isCancelled() const;
    /// Whether the backend said that what came, or the last of it, is no answer: words of trouble, or an outline.
    bool hasFailed() const { return hasFailed_; }
    const std::shared_ptr<StreamModel>& model() const;

private:
    StreamingClient(std::shared_ptr<StreamModel> model, StreamingEnvironment environment);
    std::optional<QNetworkRequest> request() const;
    QByteArray body() const;
    void open(const QNetworkRequest& request);
    void receive();
    void finish();
    AnswerEnd end() const;
    AnswerEnd endWithoutMark() const;

    const std::shared_ptr<StreamModel> model_;
    const StreamingEnvironment environment_;
    std::atomic<bool> isCancelled_ = false;
    std::atomic<bool> hasFailed_ = false;
    // Used on the stream thread alone.
    AnswerStreamParser parser_;
    QByteArray head_; // how the reply begins, for what a backend says in place of an answer
    QPointer<QNetworkReply> reply_;
};

} // namespace parlowen
