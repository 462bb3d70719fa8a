#include "StreamThread.h"

#include <QCoreApplication>

namespace parlowen {

namespace {

constexpr std::size_t idleManagers = 2;

} // namespace

StreamThread::StreamThread()
    : root_(new QObject) {
    thread_.setObjectName("answer-streams");
    queue_.moveToThread(&thread_);
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
    queue_.close();
    thread_.quit();
    thread_.wait();
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
