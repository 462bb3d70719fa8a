#include "SpeechThread.h"

#include <pthread.h>

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "SpeechConnection.h"

namespace parlowen {

/// How other threads reach the connection while it lives.
struct SpeechThread::Link {
    std::mutex mutex;
    std::condition_variable opened;
    bool isOpen = false; ///< whether the thread may go on
    SpeechConnection* connection = nullptr;

    void open() {
        const std::lock_guard lock(mutex);
        isOpen = true;
        opened.notify_one();
    }

    void waitUntilOpen() {
        std::unique_lock lock(mutex);
        opened.wait(lock, [this] { return isOpen; });
    }

    void set(SpeechConnection* to) {
        const std::lock_guard lock(mutex);
        connection = to;
    }

    void wake() {
        const std::lock_guard lock(mutex);
        if (connection)
            connection->wake();
    }
};

std::unique_ptr<SpeechThread> SpeechThread::make(SpeechSession session, std::shared_ptr<SpeechHandlers> handlers) {
    auto link = std::make_shared<Link>();
    if (!session.stream->attach([link] { link->wake(); }))
        return nullptr;
    return std::unique_ptr<SpeechThread>(new SpeechThread(std::move(link), std::move(session), std::move(handlers)));
}

SpeechThread::SpeechThread(std::shared_ptr<Link> link, SpeechSession session, std::shared_ptr<SpeechHandlers> handlers)
    : link_(std::move(link))
    , handlers_(std::move(handlers))
    , thread_([link = link_, session = std::move(session), handlers = handlers_]() mutable {
        connectAndWait(link, std::move(session), std::move(handlers));
    }) {
    pthread_setname_np(thread_.native_handle(), "speech");
}

void SpeechThread::run() {
    const std::shared_ptr<Link> link = link_; // a handler may destroy this object at once
    link->open();
}

SpeechThread::~SpeechThread() {
    handlers_->ended = true;
    link_->open();
    link_->wake();
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
}

void SpeechThread::connectAndWait(const std::shared_ptr<Link>& link, SpeechSession session,
                                  std::shared_ptr<SpeechHandlers> handlers) {
    link->waitUntilOpen();
    // Not a QThread: that one must outlive its thread, but the last owner of a recognizer may be its own handler.
    QEventLoop loop;
    {
        const std::shared_ptr<SpeechHandlers> mine = handlers;
        SpeechConnection connection(std::move(session), std::move(handlers), [&loop] { loop.quit(); });
        link->set(&connection);
        if (!mine->ended)
            loop.exec();
        link->set(nullptr);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace parlowen
