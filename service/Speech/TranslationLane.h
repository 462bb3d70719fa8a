#pragma once

#include "Engine.h"
#include "ServerMessages.h"
#include "TurnSettings.h"

#include <boost/asio/any_io_executor.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace parlowen::service {

/// Translates the events of one turn, one after the other and in order; what blocks does so on worker threads. Finals
/// all get through, though of those that wait for a translator from far away only the newest few are translated; of
/// the partials that wait only the newest gets through. Thread-safe.
class TranslationLane : public std::enable_shared_from_this<TranslationLane> {
public:
    /// Called on a worker thread, one call at a time. `SpeechEnd` comes with no translation, after everything before
    /// it.
    using Deliver = std::function<void(RecognitionEvent, std::vector<Translation>)>;

    static constexpr std::size_t mostWaiting = 4; ///< finals, for a translator that takes its time

    TranslationLane(boost::asio::any_io_executor workers, std::vector<TurnEngines::Translation> targets,
                    Deliver deliver);

    /// Takes a `Partial`, `Final` or `SpeechEnd`.
    void add(RecognitionEvent event);
    /// Nothing more is translated, and what is under way elsewhere ends; a delivery may still be under way.
    void cancel();

private:
    struct Waiting {
        RecognitionEvent event;
        bool isTranslated = true;
    };
    void giveUpOldest();
    void takeNext();
    void translateRest();
    void keep(std::size_t step, std::function<void()> drop);
    void took(std::optional<std::string> text);
    void deliver();
    void post(void (TranslationLane::*step)());

    const boost::asio::any_io_executor workers_;
    const std::vector<TurnEngines::Translation> targets_;
    const Deliver deliver_;
    const bool takesItsTime_;
    Waiting current_{};                ///< this and what follows belong to the step that runs
    std::vector<Translation> results_; ///< its first targets'
    std::mutex mutex_;                 ///< of what follows
    std::deque<Waiting> waiting_;
    bool running_ = false;
    bool cancelled_ = false;
    std::size_t step_ = 0;
    std::function<void()> drop_{}; ///< what that step has under way elsewhere
};

} // namespace parlowen::service
