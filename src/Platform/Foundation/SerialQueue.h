#pragma once

#include <functional>
#include <memory>
#include <string>

namespace parlowen {

/// A serial queue: one named worker thread that runs work in the order in which it was submitted, one piece at a time.
/// Work must not throw. The queue may be dropped on any thread, its own included: work submitted before is still run,
/// and everywhere but on its own thread the destructor waits for it.
class SerialQueue {
public:
    /// The label names the thread; the system shows its first 15 bytes.
    explicit SerialQueue(const std::string& label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Submits work and returns at once. Any thread.
    void async(std::function<void()> work);

    /// Waits until everything submitted so far has run. Never call it from the queue's own work.
    void drain();

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace parlowen
