#include "SessionRoute.h"

#include <utility>
#include <vector>

namespace parlowen {

std::optional<SessionRoute::Choice> SessionRoute::choice() const {
    const std::lock_guard lock(mutex_);
    return choice_;
}

void SessionRoute::choose(const Choice& choice) {
    {
        const std::lock_guard lock(mutex_);
        if (choice_ == choice)
            return;
        choice_ = choice;
    }
    const std::lock_guard lock(observers_->mutex);
    const auto list = observers_->list; // an observer may leave meanwhile
    for (const auto& [number, observer] : list) {
        if (observers_->list.contains(number))
            observer();
    }
}

std::shared_ptr<void> SessionRoute::watch(Observer observer) {
    const std::lock_guard lock(observers_->mutex);
    const int number = observers_->next++;
    observers_->list.emplace(number, std::move(observer));
    return {nullptr, [observers = observers_, number](std::nullptr_t) {
                const std::lock_guard removal(observers->mutex);
                observers->list.erase(number);
            }};
}

} // namespace parlowen
