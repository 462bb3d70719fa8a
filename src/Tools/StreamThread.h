#pragma once

#include <Foundation/WorkQueue.h>

#include <QDeadlineTimer>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QSslConfiguration>
#include <QThread>
#include <QUrl>
#include <functional>
#include <utility>

namespace parlowen {

/// The background thread on which all answer streams are received, one piece of work after the other.
///
/// Each stream has a network manager of its own: the connections that one manager keeps to a host are limited, and a
/// question must not wait for the answers before it.
class StreamThread {
public:
    /// Started on first use; ends with the application object.
    static StreamThread& shared();

    /// Runs the work on the thread, unless it has ended. Any thread.
    void post(std::function<void()> work) { queue_.post(std::move(work)); }

    /// Opens a connection to the host of an http or https URL, so that the next stream need not wait for its
    /// handshakes, in place of one that is prepared. Where it fails, the stream will tell. On the thread only.
    void prepare(const QUrl& url, QSslConfiguration tls);

    /// Whether a connection is open for the next stream, or on its way. On the thread only.
    bool isPrepared() const { return prepared_ && !usable_.hasExpired(); }

    /// A manager for one stream alone, until it is given back; it has the prepared connection, where there is one. On
    /// the thread only; the thread owns it.
    QNetworkAccessManager& borrowManager();
    void giveBack(QNetworkAccessManager& manager) { manager.deleteLater(); }

private:
    StreamThread();
    void end();

    QThread thread_;
    EventLoopQueue queue_; // lives on the thread, and outlives it for those who still post
    QObject* const root_;  // lives on the thread, owns the managers, ends with it
    // On the thread only.
    QPointer<QNetworkAccessManager> prepared_;
    QDeadlineTimer usable_; // the prepared connection, until then
};

} // namespace parlowen
