#pragma once

#include <memory>
#include <thread>

namespace parlowen {

struct SpeechHandlers;
struct SpeechSession;

/// The thread on which one connection runs, from construction to destruction.
class SpeechThread {
public:
    /// A thread that waits for run(); null when the session's stream has a reader already.
    static std::unique_ptr<SpeechThread> make(SpeechSession session, std::shared_ptr<SpeechHandlers> handlers);

    /// Lets the connection begin. Until then no handler is called, so the owner can store this object first.
    void run();

    /// Ends the connection. Waits for the thread, except on it.
    ~SpeechThread();
    SpeechThread(const SpeechThread&) = delete;
    SpeechThread& operator=(const SpeechThread&) = delete;

private:
    struct Link;
    SpeechThread(std::shared_ptr<Link> link, SpeechSession session, std::shared_ptr<SpeechHandlers> handlers);
    static void connectAndWait(const std::shared_ptr<Link>& link, SpeechSession session,
                               std::shared_ptr<SpeechHandlers> handlers);

    std::shared_ptr<Link> link_;
    std::shared_ptr<SpeechHandlers> handlers_;
    std::thread thread_;
};

} // namespace parlowen
