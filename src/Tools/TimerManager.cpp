#include "TimerManager.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>

#include <QTimer>
#include <atomic>
#include <mutex>
#include <utility>

namespace parlowen {

namespace {

constexpr qint64 refreshSeconds = 480;

} // namespace

struct TimerManager::State {
    Ticker ticker;
    std::shared_ptr<void> timer; // main thread
    std::atomic<bool> running = false;
    std::atomic<qint64> elapsedSeconds = 0;
    std::mutex hooksMutex;
    Session session = 0;
    std::function<void(qint64)> onTick;
    std::function<void()> onTokenRefresh;

    template<class Hook>
    Hook copyOf(const Hook& hook) {
        const std::lock_guard lock(hooksMutex);
        return hook;
    }

    /// Runs one hook outside the lock: it may set hooks, stop the clock or start it anew.
    void tick() {
        if (!running)
            return;
        const qint64 seconds = ++elapsedSeconds;
        if (const auto hook = copyOf(onTick))
            hook(seconds);
        if (!running || seconds % refreshSeconds != 0)
            return;
        consoleLog("🔄 刷新微软 token");
        if (const auto hook = copyOf(onTokenRefresh))
            hook();
    }

    void stop() {
        running = false;
        elapsedSeconds = 0;
    }

    /// Puts the timer away unless a start came in between.
    void settle() {
        if (running)
            return;
        timer.reset();
        elapsedSeconds = 0;
    }
};

TimerManager::Ticker TimerManager::every(std::chrono::milliseconds interval) {
    return [interval](std::function<void()> tick) {
        auto timer = std::make_shared<QTimer>();
        timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer.get(), &QTimer::timeout, std::move(tick));
        timer->start(interval);
        return timer;
    };
}

TimerManager::TimerManager(Ticker ticker)
    : state_(std::make_shared<State>()) {
    state_->ticker = std::move(ticker);
}

TimerManager::~TimerManager() = default;

TimerManager& TimerManager::shared() {
    static auto* const instance = new TimerManager;
    return *instance;
}

void TimerManager::start() {
    state_->elapsedSeconds = 0;
    state_->running = true;
    state_->timer = nullptr;
    state_->timer = state_->ticker([weak = std::weak_ptr(state_)] {
        if (const std::shared_ptr<State> state = weak.lock())
            state->tick();
    });
}

void TimerManager::stop() {
    state_->stop();
    if (isMainThread())
        state_->settle();
    else
        onMain(std::weak_ptr(state_), [](State& state) { state.settle(); });
}

void TimerManager::stop(Session session) {
    const std::lock_guard lock(state_->hooksMutex);
    if (state_->session == session)
        stop();
}

qint64 TimerManager::elapsedSeconds() const { return state_->elapsedSeconds; }

void TimerManager::setOnTick(std::function<void(qint64)> onTick) {
    const std::lock_guard lock(state_->hooksMutex);
    state_->onTick = std::move(onTick);
}

void TimerManager::clearOnTick(Session session) {
    const std::lock_guard lock(state_->hooksMutex);
    if (state_->session == session)
        state_->onTick = nullptr;
}

TimerManager::Session TimerManager::setOnTokenRefresh(std::function<void()> onTokenRefresh) {
    const std::lock_guard lock(state_->hooksMutex);
    state_->onTokenRefresh = std::move(onTokenRefresh);
    return ++state_->session;
}

void TimerManager::clearOnTokenRefresh(Session session) {
    const std::lock_guard lock(state_->hooksMutex);
    if (state_->session == session)
        state_->onTokenRefresh = nullptr;
}

} // namespace parlowen
