#pragma once

#include <QtGlobal>
#include <chrono>
#include <functional>
#include <memory>

namespace parlowen {

/// The session clock: counts the seconds of the running interview and asks for a fresh speech token every 480 of them.
/// Hooks run on the main thread.
class TimerManager {
public:
    /// Names one user of the clock, so that what it does late cannot touch the next one's.
    using Session = quint64;

    /// Calls the tick again and again until what it returns is gone. Main thread.
    using Ticker = std::function<std::shared_ptr<void>(std::function<void()> tick)>;
    /// Ticks in an interval, which is one second for everybody but tests.
    static Ticker every(std::chrono::milliseconds interval);

    explicit TimerManager(Ticker ticker = every(std::chrono::seconds(1)));
    explicit TimerManager(std::chrono::milliseconds interval)
        : TimerManager(every(interval)) {}
    ~TimerManager();
    TimerManager(const TimerManager&) = delete;
    TimerManager& operator=(const TimerManager&) = delete;

    /// The application's one clock. Made on first use and never released.
    static TimerManager& shared();

    /// Counts from zero, whether it was running or not. Main thread.
    void start();
    /// Stops and goes back to zero; the hooks stay. Any thread: no tick that begins after it returns is reported.
    void stop();
    /// The same for one session alone: nothing happens when another has taken the clock since. Any thread.
    void stop(Session session);

    /// Seconds since the last start; 0 when stopped. Any thread.
    qint64 elapsedSeconds() const;

    /// Called every second with the new count. Any thread may set it.
    void setOnTick(std::function<void(qint64)> onTick);
    /// Takes onTick back, unless another session has taken the clock since. Any thread.
    void clearOnTick(Session session);
    /// Called every 480 seconds, after onTick. Any thread may set it. From here on the clock is this session's.
    Session setOnTokenRefresh(std::function<void()> onTokenRefresh);
    /// Takes the hook back, unless another session has set its own since. Any thread.
    void clearOnTokenRefresh(Session session);

private:
    struct State;
    const std::shared_ptr<State> state_;
};

} // namespace parlowen
