#include "StreamThread.h"

#include <QCoreApplication>
#include <utility>

namespace parlowen {

namespace {

constexpr std::size_t idleManagers = 2;

} // namespace

StreamThread::StreamThread()
    : root_(new QObject) {
    thread_.setObjectName("answer-streams");
    root_->moveToThread(&thread_);
    QObject::connect(&thread_, &QThread::finished, root_, &QObject::deleteLater);
    thread_.start();
}

StreamThread& StreamThread::shared() {
    static auto* const instance = [] {
        auto* const made = new StreamThread;
        qAddPostRoutine([] { shared().end(); });
        return made;
    }();
    return *instance;
}

void StreamThread::end() {
    {
        const std::lock_guard lock(mutex_);
        root_ = nullptr;
    }
    thread_.quit();
    thread_.wait();
}

void StreamThread::post(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    if (root_ != nullptr)
        QMetaObject::invokeMethod(root_, std::move(work), Qt::QueuedConnection);
}

QNetworkAccessManager& StreamThread::borrowManager() {
    if (idle_.empty())
        return *new QNetworkAccessManager(root_);
    QNetworkAccessManager& manager = *idle_.back();
    idle_.pop_back();
    return manager;
}

void StreamThread::giveBack(QNetworkAccessManager& manager) {
    if (idle_.size() < idleManagers)
        idle_.push_back(&manager);
    else
        manager.deleteLater();
}

} // namespace parlowen
