#pragma once

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "SpeechBacklog.h"
#include "SpeechPacing.h"
#include "SpeechSession.h"
#include "SpeechSocket.h"
#include "SpeechTurn.h"

namespace parlowen {

/// Recognizes one stream to its end: connects, opens turns, sends the audio, hands on the results, and connects again
/// after a drop. Lives on one thread, on which it calls the handlers.
class SpeechConnection : public QObject {
public:
    /// At most this many attempts to connect again without a final result in between.
    static constexpr int maxAttempts = 5;

    /// `onEnded` is called when it notices that the recognizer is gone; it must outlive that call.
    SpeechConnection(SpeechSession session, std::shared_ptr<SpeechHandlers> handlers, std::function<void()> onEnded);
    ~SpeechConnection() override;
    SpeechConnection(const SpeechConnection&) = delete;
    SpeechConnection& operator=(const SpeechConnection&) = delete;

    /// Makes it look whether there is audio to send, or whether it has to end. Any thread.
    void wake();

protected:
    bool event(QEvent* event) override;

private:
    void connectNow();
    void onOpened();
    void onMessage(const wire::SpeechMessage& message);
    void onEvent(const SpeechEvent& event);
    void onLost(const SpeechVerdict& verdict);
    void beginTurn();
    void sendAudio();
    bool sendNextPiece();
    void fill();
    void cancel(const QString& details);
    void finish();

    SpeechSession session_;
    std::shared_ptr<SpeechHandlers> handlers_;
    std::function<void()> onEnded_;
    std::string connectionId_;
    std::unique_ptr<SpeechSocket> socket_; ///< none while a reconnect is waited for, and at the end
    bool open_ = false;
    std::optional<SpeechTurn> turn_; ///< the running turn; none without an open socket
    std::optional<SpeechPacing> pacing_;
    SpeechBacklog backlog_;
    std::uint64_t next_ = 0; ///< position of the next byte to send
    int attempts_ = 0;       ///< attempts to connect again since the last final result
    QTimer pause_;           ///< until the next piece of audio may go
    QTimer reconnect_;
};

} // namespace parlowen
