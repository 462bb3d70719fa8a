#pragma once

#include <Foundation/LocalTrust.h>

#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QTimer>
#include <functional>
#include <optional>

class QNetworkAccessManager;

namespace parlowen {

/// The backend that comes with the application: `parlowen-service` on the loopback interface, started when no other
/// backend is named, started again in the same place for as long as it dies there, and ended with the application, also
/// when that is killed (the service watches its standard input).
/// Main thread only.
class LocalService : public QObject {
public:
    struct Place {
        QString program;       ///< the service's executable
        QString dataDirectory; ///< where it keeps its files
        quint16 preferredPort; ///< the port of the built-in base URL; another one is taken when it is somebody else's
    };
    /// What a client needs to reach the service.
    struct Access {
        QString baseUrl; ///< HTTPS, path /api/v1
        LocalTrust trust;
    };
    /// Called once: with access, or with a plain sentence on why there is none.
    using Started = std::function<void(const std::optional<Access>&, const QString& problem)>;

    explicit LocalService(Place place, QObject* parent = nullptr);
    ~LocalService() override;

    /// Starts the service; one that this user already runs on the port is used as it is.
    void start(Started started);
    /// Told once it has started: false when the service is gone and is being started again, true when it serves again.
    void onServing(std::function<void(bool serves)> told) { told_ = std::move(told); }
    /// Its clients cannot reach it: starts it where it was if nobody is about to, such as when it was another program's
    /// and went with that.
    void revive();

    /// The executable beside the application, else the one on the search path; empty when there is none.
    static QString findProgram();
    /// Where the service keeps its files for this user.
    static QString defaultDataDirectory();
    /// The trust that goes with a data directory, for one loopback host; trusts nothing before the service's first
    /// start.
    static LocalTrust trustFor(const QString& host, const QString& dataDirectory = defaultDataDirectory());

private:
    void launch(quint16 port);
    void readOutput();
    void ended(int exitCode, QProcess::ExitStatus exit);
    void restartAfterPause();
    void tellServing(bool serves);
    void probeExisting();
    void finish(const std::optional<Access>& access, const QString& problem);
    QString lastWords() const;

    Place place_;
    Started started_;
    std::function<void(bool)> told_;
    QProcess process_;
    QTimer patience_;
    QByteArray output_;
    QByteArray errors_;
    QNetworkAccessManager* probe_ = nullptr;
    quint16 port_ = 0;
    QElapsedTimer serving_; ///< since the service was last ready; not valid before it was
    QElapsedTimer revived_; ///< since the last attempt
    QTimer restart_;
    int restarts_ = 0; ///< in a row
    bool serves_ = true;
    bool isWanted_ = false; ///< its owner has got access
};

} // namespace parlowen
