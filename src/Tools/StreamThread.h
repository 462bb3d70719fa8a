#pragma once

#include <QNetworkAccessManager>
#include <QThread>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

namespace parlowen {

/// The background thread on which all answer streams are received, one piece of work after the other.
///
/// Each running stream has a network manager of its own: the connections that one manager keeps to a host are
/// limited, and a question must not wait for the answers before it. Idle managers are kept for their open connections.
class StreamThread {
public:
    /// Started on first use; ends with the application object.
    static StreamThread& shared();

    /// Runs the work on the thread, unless it has ended. Any thread.
    void post(std::function<void()> work);

    /// A manager for one stream alone, until it is given back. On the thread only; the thread owns it.
    QNetworkAccessManager& borrowManager();
    void giveBack(QNetworkAccessManager& manager);

private:
    class Runner;

    StreamThread();
    void end();
    void runNext();

    QThread thread_;
    QObject* const root_; // lives on the thread, owns the managers, ends with it
    std::mutex mutex_;    // guards the next two
    bool ended_ = false;
    std::deque<std::function<void()>> work_;
    std::vector<QNetworkAccessManager*> idle_; // on the thread only
};

} // namespace parlowen
