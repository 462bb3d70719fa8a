#include "TranslationLane.h"

#include <boost/asio/post.hpp>

namespace parlowen::service {

TranslationLane::TranslationLane(boost::asio::any_io_executor workers, std::vector<TurnEngines::Translation> targets,
                                 Deliver deliver)
    : workers_(std::move(workers))
    , targets_(std::move(targets))
    , deliver_(std::move(deliver)) {}

void TranslationLane::add(RecognitionEvent event) {
    const std::lock_guard lock(mutex_);
    if (cancelled_)
        return;
    if (!waiting_.empty() && waiting_.back().kind == RecognitionEvent::Kind::Partial)
        waiting_.pop_back();
    waiting_.push_back(std::move(event));
    if (std::exchange(running_, true))
        return;
    boost::asio::post(workers_, [self = shared_from_this()] { self->translateNext(); });
}

void TranslationLane::cancel() {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    waiting_.clear();
}

void TranslationLane::translateNext() {
    std::unique_lock lock(mutex_);
    if (waiting_.empty()) {
        running_ = false;
        return;
    }
    auto event = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    auto translations = translate(event);
    lock.lock();
    if (!cancelled_) {
        lock.unlock();
        deliver_(std::move(event), std::move(translations));
    }
    boost::asio::post(workers_, [self = shared_from_this()] { self->translateNext(); });
}

std::vector<Translation> TranslationLane::translate(const RecognitionEvent& event) const {
    std::vector<Translation> result;
    if (event.text.empty())
        return result;
    for (const auto& target : targets_) {
        if (cancelled_) // whoever asked is gone
            break;
        result.push_back({target.target, target.translator->translate(target.pair, event.text)});
    }
    return result;
}

} // namespace parlowen::service
