#include "TranslationLane.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

namespace parlowen::service {

namespace {

using Kind = RecognitionEvent::Kind;

} // namespace

TranslationLane::TranslationLane(boost::asio::any_io_executor workers, std::vector<TurnEngines::Translation> targets,
                                 Deliver deliver)
    : workers_(std::move(workers))
    , targets_(std::move(targets))
    , deliver_(std::move(deliver))
    , takesItsTime_(std::any_of(targets_.begin(), targets_.end(),
                                [](const auto& target) { return target.translator->isForFinalsAlone(); })) {}

void TranslationLane::add(RecognitionEvent event) {
    const std::lock_guard lock(mutex_);
    if (cancelled_)
        return;
    if (!waiting_.empty() && waiting_.back().event.kind == Kind::Partial)
        waiting_.pop_back();
    waiting_.push_back({std::move(event)});
    if (takesItsTime_)
        giveUpOldest();
    if (!std::exchange(running_, true))
        post(&TranslationLane::takeNext);
}

/// With the mutex held.
void TranslationLane::giveUpOldest() {
    const auto isWanted = [](const Waiting& one) { return one.isTranslated && one.event.kind == Kind::Final; };
    const auto wanted = std::count_if(waiting_.begin(), waiting_.end(), isWanted);
    if (wanted > static_cast<std::ptrdiff_t>(mostWaiting))
        std::find_if(waiting_.begin(), waiting_.end(), isWanted)->isTranslated = false;
}

void TranslationLane::cancel() {
    std::function<void()> drop;
    {
        const std::lock_guard lock(mutex_);
        cancelled_ = true;
        waiting_.clear();
        drop.swap(drop_);
    }
    if (drop)
        drop();
}

void TranslationLane::post(void (TranslationLane::*step)()) {
    boost::asio::post(workers_, [self = shared_from_this(), step] { (*self.*step)(); });
}

void TranslationLane::takeNext() {
    {
        const std::lock_guard lock(mutex_);
        running_ = !waiting_.empty();
        if (!running_)
            return;
        current_ = std::move(waiting_.front());
        waiting_.pop_front();
    }
    results_.clear();
    translateRest();
}

void TranslationLane::translateRest() {
    std::size_t step = 0;
    {
        const std::lock_guard lock(mutex_);
        if (cancelled_)
            return;
        step = ++step_;
    }
    if (current_.event.text.empty() || results_.size() == targets_.size())
        return deliver();
    if (!current_.isTranslated)
        return took(std::nullopt);
    const auto& target = targets_[results_.size()];
    keep(step, target.translator->translate(
                   target.pair, current_.event.text,
                   [self = shared_from_this()](std::optional<std::string> text) { self->took(std::move(text)); }));
}

/// Unless the next step has begun meanwhile.
void TranslationLane::keep(std::size_t step, std::function<void()> drop) {
    {
        const std::lock_guard lock(mutex_);
        if (step == step_ && !cancelled_) {
            drop_ = std::move(drop);
            return;
        }
    }
    if (drop)
        drop();
}

void TranslationLane::took(std::optional<std::string> text) {
    results_.push_back({targets_[results_.size()].target, std::move(text)});
    post(&TranslationLane::translateRest);
}

void TranslationLane::deliver() {
    deliver_(std::move(current_.event), std::move(results_));
    post(&TranslationLane::takeNext);
}

} // namespace parlowen::service
