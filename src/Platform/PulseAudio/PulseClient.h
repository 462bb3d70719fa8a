#pragma once

#include "PulseEventLoop.h"
#include "PulseHandles.h"
#include "PulseSnapshot.h"
#include "SecondLook.h"
#include "SessionRoute.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace parlowen {

/// The program's one connection to an audio server. It keeps a copy of the server's state current, looks twice (see
/// SecondLook), and comes back by itself when the server was away, within half a second of its return. Recordings open
/// their streams on it. It reads and never changes anything in the server.
///
/// What the program's sessions are to hear is noted beside it. Any thread; no call waits for the server but those that
/// say so.
class PulseClient {
public:
    enum class Phase : std::uint8_t {
        Connecting, ///< not known yet
        Up,
        Away,    ///< no server, or one that does not answer
        Refused, ///< it does not let this program in
    };

    /// What is known of the server. It never changes once it is given out.
    struct State {
        Phase phase = Phase::Connecting;
        std::string problem;          ///< in the library's words (English) while it is not up
        std::uint64_t connection = 0; ///< counts the connections: a stream dies with its own
        PulseSnapshot snapshot;       ///< empty while it is not up
    };
    using StatePtr = std::shared_ptr<const State>;

    /// An empty address means the session's own server (PULSE_SERVER is honoured). Returns at once; never starts a
    /// server.
    explicit PulseClient(std::string address = {});
    /// Not on the client's own thread.
    ~PulseClient();
    PulseClient(const PulseClient&) = delete;
    PulseClient& operator=(const PulseClient&) = delete;

    /// The client of the process for the session's own server, for as long as somebody holds it.
    static std::shared_ptr<PulseClient> shared();

    StatePtr state() const;
    /// Waits until it is known whether the server is up, at most that long. Not on the client's own thread.
    StatePtr waitUntilKnown(std::chrono::milliseconds bound);

    /// Told of every new state, under the lock, on the client's thread.
    using Observer = std::function<void(const StatePtr&)>;
    /// Ends with what it returns; after that no call comes or runs, but one on the very thread.
    [[nodiscard]] std::shared_ptr<void> watch(Observer observer);

    const std::shared_ptr<SessionRoute>& route() const { return route_; }

    /// Holds the client's thread off; needed around every call of the library. A thread may lock more than once.
    class Lock {
    public:
        explicit Lock(PulseClient& client)
            : loop_(client.loop_) {
            loop_.lock();
        }
        ~Lock() { loop_.unlock(); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        PulseEventLoop& loop_;
    };

    // All of these under the lock.
    pa_context* context() const { return context_.get(); }
    pa_mainloop_api* loopApi() const { return loop_.api(); }
    /// See PulseEventLoop::restUntil(). On the client's thread.
    void restUntil(PulseEventLoop::Clock::time_point time) { loop_.restUntil(time); }
    /// What the library said last, in English.
    std::string lastError() const;
    /// Waits, locked once and on another thread than the client's, until the condition holds; false when it took too
    /// long. Whoever changes what it looks at, on the client's thread, calls wake().
    bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds bound);
    void wake() { loop_.signal(); }

    /// Starts the user's audio server where the library knows how, and waits for that, five seconds at most. Never on
    /// the main thread.
    static void startServer();

    /// What was asked of the server so far; for measurements.
    struct Traffic {
        std::size_t requests = 0; ///< single requests
        std::size_t rounds = 0;   ///< times that the whole state was read: a handful of requests sent together
    };
    Traffic traffic() const { return {requests_, rounds_}; }

private:
    void connect();
    void watchContext();
    void stateChanged();
    void follow();
    void subscribe();
    void readState();
    void lost();
    void overdue();
    void publish(State state);
    static void onSecondLook(pa_context* context, const pa_server_info* info, void* client);
    bool hasMissed(const pa_server_info& info) const;
    void takeOver();

    const std::string address_;
    const std::shared_ptr<SessionRoute> route_ = std::make_shared<SessionRoute>();
    mutable std::mutex stateMutex_;
    StatePtr state_; ///< stateMutex_
    std::atomic<std::size_t> requests_ = 0, rounds_ = 0;
    PulseEventLoop loop_;

    // Under the lock:
    std::map<int, Observer> observers_;
    int nextObserver_ = 0;
    PulseContext context_;
    PulseOperation subscription_;
    std::unique_ptr<PulseRound> round_;
    bool outdated_ = false; ///< something changed since the round was begun
    std::uint64_t connections_ = 0;
    std::chrono::milliseconds pause_;
    PulseTimer retry_;
    PulseTimer patience_; ///< with a server that takes the connection and does not answer
    SecondLook secondLook_;
};

} // namespace parlowen
