#pragma once

#include "Engine.h"
#include "ServerMessages.h"
#include "TurnSettings.h"

#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace parlowen::service {

/// Translates the events of one turn on worker threads, one after the other and in order. Finals all get through; of
/// the partials that wait only the newest does, so a slow translator falls behind by one text at most. Thread-safe.
class TranslationLane : public std::enable_shared_from_this<TranslationLane> {
public:
    /// Called on a worker thread, one call at a time. `SpeechEnd` comes with no translation, after everything before
    /// it.
    using Deliver = std::function<void(RecognitionEvent, std::vector<Translation>)>;

    TranslationLane(boost::asio::any_io_executor workers, std::vector<TurnEngines::Translation> targets,
                    Deliver deliver);

    /// Takes a `Partial`, `Final` or `SpeechEnd`.
    void add(RecognitionEvent event);
    /// Nothing more is translated; a delivery may still be under way.
    void cancel();

private:
    void translateNext();
    std::vector<Translation> translate(const RecognitionEvent& event) const;

    const boost::asio::any_io_executor workers_;
    const std::vector<TurnEngines::Translation> targets_;
    const Deliver deliver_;
    std::mutex mutex_; ///< of what follows
    std::deque<RecognitionEvent> waiting_;
    bool running_ = false;
    std::atomic<bool> cancelled_ = false;
};

} // namespace parlowen::service
