#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "SPXPushAudioInputStream.h"
#include "SPXRecognitionResult.h"
#include "SPXSpeechConfiguration.h"
#include "SpeechSocket.h"
#include "SpeechTurn.h"

namespace parlowen {

/// All that a recognizer's connection needs to know.
struct SpeechSession {
    SpeechTask task;
    SPXSpeechConfiguration configuration;
    std::shared_ptr<SPXPushAudioInputStream> stream;
};

/// Whom a connection tells. The handlers stay as they are once the connection runs.
struct SpeechHandlers {
    SPXRecognitionEventHandler recognizing;
    SPXRecognitionEventHandler recognized;
    SPXCanceledEventHandler canceled;
    SPXConnectionEventHandler connection;
    SPXGapEventHandler gap;
    SPXSessionStoppedHandler stopped;
    std::atomic<bool> ended = false; ///< set when the recognizer goes: no handler is called from then on
};

/// How fast a turn's audio goes out: its first 5 s at once, what follows at no more than twice real time. A value.
class SpeechPacing {
public:
    using Clock = std::chrono::steady_clock;

    explicit SpeechPacing(Clock::time_point now)
        : last_(now) {}

    /// How long to wait before that many bytes may go; 0 when they may go now.
    std::chrono::milliseconds wait(std::size_t bytes, Clock::time_point now);
    void sent(std::size_t bytes) { credit_ -= static_cast<double>(bytes); }

private:
    static constexpr double bytesPerMillisecond = 2 * 32.0;
    static constexpr double unthrottled = 5 * 32'000.0;
    /// The most that gathers again later: 0.2 s of audio, so that late timers do not slow it down.
    static constexpr double burst = 6400.0;

    double credit_ = unthrottled;
    Clock::time_point last_;
};

/// Recognizes one stream to its end: connects, opens turns, sends the audio, hands on the results, and connects again
/// after a drop, for ever, with pauses that grow while no result comes. Lives on one thread, on which it calls the
/// handlers.
class SpeechConnection : public QObject {
public:
    /// `onEnded` is called when it notices that the recognizer is gone; it must outlive that call.
    SpeechConnection(SpeechSession session, std::shared_ptr<SpeechHandlers> handlers, std::function<void()> onEnded);
    ~SpeechConnection() override;
    SpeechConnection(const SpeechConnection&) = delete;
    SpeechConnection& operator=(const SpeechConnection&) = delete;

    /// Makes it look whether there is audio to send, or whether it has to end. Any thread.
    void wake();

    /// The pause before an attempt to connect, after so many in a row that failed.
    static std::chrono::milliseconds pauseAfter(int attempts, std::chrono::milliseconds first);

protected:
    bool event(QEvent* event) override;

private:
    void connectNow();
    void onOpened();
    void tellConnected() const;
    void onUse();
    void onMessage(const wire::SpeechMessage& message);
    void onEvent(const SpeechEvent& event);
    void onFinal(const SpeechEvent& event);
    void onReached(std::uint64_t position);
    bool mayPass(const SpeechVerdict& verdict) const;
    void onLost(const SpeechVerdict& verdict);
    void beginTurn();
    void sendAudio();
    bool sendNextPiece();
    bool mayGoNow(std::size_t bytes);
    void send(const SPXPushAudioInputStream::Piece& piece);
    void tell(const SPXRecognitionEventHandler& handler, const SPXRecognitionResult& heard) const;
    void tellGaps(std::uint64_t position) const;
    void dropSocket();
    void cancel(const SpeechVerdict& verdict);
    void complete();
    void finish();

    SpeechSession session_;
    std::shared_ptr<SpeechHandlers> handlers_;
    std::function<void()> onEnded_;
    std::string connectionId_;
    std::unique_ptr<SpeechSocket> socket_; ///< none while a reconnect is waited for, and at the end
    bool open_ = false;
    bool reads_ = true;              ///< it is the stream's reader
    std::optional<SpeechTurn> turn_; ///< the running turn; none without an open socket
    std::optional<SpeechPacing> pacing_;
    std::uint64_t next_ = 0;  ///< position of the next byte to send
    bool inSentence_ = false; ///< a sentence has begun that has had no final result
    int attempts_ = 0;        ///< attempts to connect again since the service last proved of use
    bool served_ = false;     ///< the service has taken sound
    bool refused_ = false;    ///< it ended the last turn: whether it takes sound now is still to be seen
    QElapsedTimer attempt_;   ///< since the last one
    QTimer pause_;            ///< until the next piece of audio may go
    QTimer reconnect_;
};

} // namespace parlowen
