#pragma once

#include <memory>
#include <thread>

#include "SpeechSession.h"

namespace parlowen {

/// The thread on which one connection runs, from construction to destruction.
class SpeechThread {
public:
    /// Null when the session's stream has a reader already.
    static std::unique_ptr<SpeechThread> start(SpeechSession session, std::shared_ptr<SpeechHandlers> handlers);

    /// Ends the connection. Waits for the thread, except on it.
    ~SpeechThread();
    SpeechThread(const SpeechThread&) = delete;
    SpeechThread& operator=(const SpeechThread&) = delete;

private:
    struct Link;
    SpeechThread(std::shared_ptr<Link> link, SpeechSession session, std::shared_ptr<SpeechHandlers> handlers);
    static void run(const std::shared_ptr<Link>& link, SpeechSession session, std::shared_ptr<SpeechHandlers> handlers);

    std::shared_ptr<Link> link_;
    std::shared_ptr<SpeechHandlers> handlers_;
    std::thread thread_;
};

} // namespace parlowen
