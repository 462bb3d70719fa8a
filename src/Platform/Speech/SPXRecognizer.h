#pragma once

#include <Foundation/Result.h>

#include <QString>
#include <QStringList>
#include <memory>

#include "SPXRecognitionResult.h"
#include "SPXSpeechConfiguration.h"

namespace parlowen {

struct SpeechHandlers;
struct SpeechSession;
class SpeechThread;

/// What both recognizers share. One connects again for as long as that can help; it is canceled when its token or its
/// settings are refused, and then another one can go on with the same stream. Each runs on a thread of its own, on
/// which it calls its handlers. A recognizer ends when it is destroyed, which may happen on any thread and from within
/// a handler; after the destructor has returned no handler is called, and none still runs but the one that destroys it.
/// The thread that destroys it must not be one that a handler is waiting for.
class SPXRecognizer {
public:
    ~SPXRecognizer();
    SPXRecognizer(const SPXRecognizer&) = delete;
    SPXRecognizer& operator=(const SPXRecognizer&) = delete;

    /// Handlers are registered before the start; a second one of a kind takes the place of the first.
    void addRecognizingEventHandler(SPXRecognitionEventHandler handler); ///< a sentence in progress
    void addRecognizedEventHandler(SPXRecognitionEventHandler handler);  ///< a finished sentence
    void addCanceledEventHandler(SPXCanceledEventHandler handler);       ///< at most once, then nothing more comes
    void addConnectionEventHandler(SPXConnectionEventHandler handler);   ///< the service was reached or lost
    void addGapEventHandler(SPXGapEventHandler handler);                 ///< sound is missing at this place
    void
    addSessionStoppedEventHandler(SPXSessionStoppedHandler handler); ///< the stream is closed, its last result here

    /// Starts to read the stream and to recognize; ends by itself when the stream is closed and its last result is
    /// here. Fails when it was started before or its stream has a reader already.
    Result<void> startContinuousRecognition();

protected:
    explicit SPXRecognizer(std::unique_ptr<SpeechSession> session);
    template<class Recognizer>
    static Result<std::unique_ptr<Recognizer>> makeOne(const SPXSpeechConfiguration& configuration,
                                                       const QStringList& targets, const SPXAudioConfiguration& audio);

private:
    std::unique_ptr<SpeechSession> session_; ///< what to run, until the start
    std::shared_ptr<SpeechHandlers> handlers_;
    std::unique_ptr<SpeechThread> thread_;
};

/// Recognizes speech of one language.
class SPXSpeechRecognizer : public SPXRecognizer {
public:
    /// Fails when the configuration has no language or the audio no stream.
    static Result<std::unique_ptr<SPXSpeechRecognizer>> make(const SPXSpeechConfiguration& configuration,
                                                             const SPXAudioConfiguration& audio);

private:
    friend class SPXRecognizer;
    using SPXRecognizer::SPXRecognizer;
};

/// Recognizes speech of one language and translates it into the configuration's targets.
class SPXTranslationRecognizer : public SPXRecognizer {
public:
    /// Fails when the configuration has no language or no target, or the audio no stream.
    static Result<std::unique_ptr<SPXTranslationRecognizer>>
    make(const SPXSpeechTranslationConfiguration& configuration, const SPXAudioConfiguration& audio);

private:
    friend class SPXRecognizer;
    using SPXRecognizer::SPXRecognizer;
};

} // namespace parlowen
