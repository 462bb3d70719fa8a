#include "SpeechThread.h"

#include <pthread.h>

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <mutex>
#include <utility>

#include "SpeechConnection.h"

namespace parlowen {

/// How other threads reach the connection while it lives.
struct SpeechThread::Link {
    std::mutex mutex;
    SpeechConnection* connection = nullptr;

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

std::unique_ptr<SpeechThread> SpeechThread::start(SpeechSession session, std::shared_ptr<SpeechHandlers> handlers) {
    auto link = std::make_shared<Link>();
    if (!session.stream->attach([link] { link->wake(); }))
        return nullptr;
    return std::unique_ptr<SpeechThread>(new SpeechThread(std::move(link), std::move(session), std::move(handlers)));
}

SpeechThread::SpeechThread(std::shared_ptr<Link> link, SpeechSession session, std::shared_ptr<SpeechHandlers> handlers)
    : link_(std::move(link))
    , handlers_(std::move(handlers))
    , thread_([link = link_, session = std::move(session), handlers = handlers_]() mutable {
        run(link, std::move(session), std::move(handlers));
    }) {
    pthread_setname_np(thread_.native_handle(), "speech");
}

SpeechThread::~SpeechThread() {
    handlers_->ended = true;
    link_->wake();
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
}

void SpeechThread::run(const std::shared_ptr<Link>& link, SpeechSession session,
                       std::shared_ptr<SpeechHandlers> handlers) {
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
