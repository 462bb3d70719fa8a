#pragma once

#include <Foundation/WorkQueue.h>

#include <QNetworkAccessManager>
#include <QThread>
#include <functional>
#include <utility>
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
    void post(std::function<void()> work) { queue_.post(std::move(work)); }

    /// A manager for one stream alone, until it is given back. On the thread only; the thread owns it.
    QNetworkAccessManager& borrowManager();
    void giveBack(QNetworkAccessManager& manager);

private:
    StreamThread();
    void end();

    QThread thread_;
    EventLoopQueue queue_;                     // lives on the thread, and outlives it for those who still post
    QObject* const root_;                      // lives on the thread, owns the managers, ends with it
    std::vector<QNetworkAccessManager*> idle_; // on the thread only
};

} // namespace parlowen
