#include "TranslationLane.h"

#include <boost/asio/post.hpp>

namespace parlowen::service {

TranslationLane::TranslationLane(boost::asio::any_io_executor workersToUse,
                                 std::vector<TurnEngines::Translation> translations, Deliver delivery)
    : workers(std::move(workersToUse))
    , targets(std::move(translations))
    , deliver(std::move(delivery)) {}

void TranslationLane::add(RecognitionEvent event) {
    const std::lock_guard lock(mutex);
    if (cancelled)
        return;
    if (!waiting.empty() && waiting.back().kind == RecognitionEvent::Kind::Partial)
        waiting.pop_back();
    waiting.push_back(std::move(event));
    if (std::exchange(running, true))
        return;
    boost::asio::post(workers, [self = shared_from_this()] { self->translateNext(); });
}

void TranslationLane::cancel() {
    const std::lock_guard lock(mutex);
    cancelled = true;
    waiting.clear();
}

void TranslationLane::translateNext() {
    std::unique_lock lock(mutex);
    if (waiting.empty()) {
        running = false;
        return;
    }
    auto event = std::move(waiting.front());
    waiting.pop_front();
    lock.unlock();
    auto translations = translate(event);
    lock.lock();
    if (!cancelled) {
        lock.unlock();
        deliver(std::move(event), std::move(translations));
    }
    boost::asio::post(workers, [self = shared_from_this()] { self->translateNext(); });
}

std::vector<Translation> TranslationLane::translate(const RecognitionEvent& event) const {
    std::vector<Translation> result;
    if (event.text.empty())
        return result;
    for (const auto& target : targets)
        result.push_back({target.target, target.translator->translate(target.pair, event.text)});
    return result;
}

} // namespace parlowen::service
