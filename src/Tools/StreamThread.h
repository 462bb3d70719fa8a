#pragma once

#include <Foundation/WorkQueue.h>

#include <QNetworkAccessManager>
#include <QPointer>
#include <QSslConfiguration>
#include <QThread>
#include <QUrl>
#include <deque>
#include <functional>
#include <utility>

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

    /// Opens a connection to the host of an http or https URL, so that the next stream need not wait for its
    /// handshakes. Where there is one already, nothing happens; where it fails, the stream will tell. On the thread
    /// only.
    void prepare(const QUrl& url, QSslConfiguration tls);

    /// A manager for one stream alone, until it is given back; the one with a prepared connection comes first. On the
    /// thread only; the thread owns it.
    QNetworkAccessManager& borrowManager();
    void giveBack(QNetworkAccessManager& manager);

private:
    StreamThread();
    void end();
    QNetworkAccessManager* makeManager();

    QThread thread_;
    EventLoopQueue queue_;                      // lives on the thread, and outlives it for those who still post
    QObject* const root_;                       // lives on the thread, owns the managers, ends with it
    std::deque<QNetworkAccessManager*> idle_;   // on the thread only; the one for the next stream is the last
    QPointer<QNetworkAccessManager> preparing_; // on the thread only; whose connection is being opened
};

} // namespace parlowen
