#include "SerialQueue.h"

#include "WorkQueue.h"

#include <pthread.h>

#include <future>
#include <thread>
#include <utility>

namespace parlowen {

struct SerialQueue::State {
    WorkQueue queue;
    std::thread worker;
};

SerialQueue::SerialQueue(const std::string& label)
    : state_(std::make_shared<State>()) {
    state_->worker = std::thread([state = state_] {
        while (state->queue.waitAndRunNext()) {
        }
    });
    pthread_setname_np(state_->worker.native_handle(), label.substr(0, 15).c_str());
}

SerialQueue::~SerialQueue() {
    state_->queue.close();
    if (state_->worker.get_id() == std::this_thread::get_id())
        state_->worker.detach();
    else
        state_->worker.join();
}

void SerialQueue::async(std::function<void()> work) { state_->queue.push(std::move(work)); }

void SerialQueue::drain() {
    std::promise<void> reached;
    async([&reached] { reached.set_value(); });
    reached.get_future().wait();
}

} // namespace parlowen
