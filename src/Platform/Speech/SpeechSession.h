#pragma once

#include <QString>
#include <atomic>
#include <chrono>
#include <memory>

#include "SPXPushAudioInputStream.h"
#include "SPXRecognitionResult.h"
#include "SpeechEndpoint.h"
#include "SpeechTurn.h"

namespace parlowen {

class SPXAudioConfiguration;
class SPXSpeechConfiguration;

/// All that a recognizer's connection needs to know.
struct SpeechSession {
    SpeechTask task;
    QString token;
    SpeechEndpoint endpoint;
    std::shared_ptr<SPXPushAudioInputStream> stream;
    std::chrono::milliseconds firstReconnectPause;
    std::chrono::milliseconds answerTimeout;
};

/// None, with a text in `error`, when a language or the stream is missing.
std::unique_ptr<SpeechSession> makeSpeechSession(const SPXSpeechConfiguration& configuration,
                                                 const QStringList& targets, const SPXAudioConfiguration& audio,
                                                 QString* error);

/// Whom a connection tells. The handlers stay as they are once the connection runs.
struct SpeechHandlers {
    SPXRecognitionEventHandler recognizing;
    SPXRecognitionEventHandler recognized;
    SPXCanceledEventHandler canceled;
    SPXConnectionEventHandler connection;
    SPXGapEventHandler gap;
    std::atomic<bool> ended = false; ///< set when the recognizer goes: no handler is called from then on
};

} // namespace parlowen
