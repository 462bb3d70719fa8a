#include "SerialQueue.h"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

namespace parlowen {

struct SerialQueue::State {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> pending;
    bool ending = false;
    std::thread worker;

    void run() {
        std::unique_lock lock(mutex);
        while (true) {
            wake.wait(lock, [this] { return ending || !pending.empty(); });
            if (pending.empty())
                return;
            // Scoped so that what the work holds is released before the next piece, and without the lock.
            {
                std::function<void()> work = std::move(pending.front());
                pending.pop_front();
                lock.unlock();
                work();
            }
            lock.lock();
        }
    }
};

SerialQueue::SerialQueue(const std::string& label)
    : state_(std::make_shared<State>()) {
    state_->worker = std::thread([state = state_] { state->run(); });
    pthread_setname_np(state_->worker.native_handle(), label.substr(0, 15).c_str());
}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(state_->mutex);
        state_->ending = true;
    }
    state_->wake.notify_one();
    if (state_->worker.get_id() == std::this_thread::get_id())
        state_->worker.detach();
    else
        state_->worker.join();
}

void SerialQueue::async(std::function<void()> work) {
    {
        const std::lock_guard lock(state_->mutex);
        state_->pending.push_back(std::move(work));
    }
    state_->wake.notify_one();
}

void SerialQueue::drain() {
    std::promise<void> reached;
    async([&reached] { reached.set_value(); });
    reached.get_future().wait();
}

} // namespace parlowen
