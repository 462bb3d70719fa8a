#pragma once

#include <Foundation/LocalTrust.h>
#include <Foundation/Result.h>

#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QSslSocket>
#include <QTimer>
#include <functional>

namespace parlowen {

/// The backend that comes with the application: `parlowen-service` on the loopback interface, started when no other
/// backend is named, started again in the same place for as long as it dies there, and ended with the application, also
/// when that is killed (the service watches its standard input). Where this user's service runs already, because
/// another program started it, that one is used, and one of our own is started in its place as soon as it has gone.
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
    using Started = std::function<void(const Result<Access>&)>;

    explicit LocalService(Place place, QObject* parent = nullptr);
    ~LocalService() override;

    /// Starts the service, or joins the one that this user already runs on the port.
    void start(Started started);
    /// Told once it has started: false when the service is gone and is being started again, true when it serves again.
    void onServing(std::function<void(bool serves)> told) { told_ = std::move(told); }
    /// Told once when something holds the port that does not prove to be this user's service. It gets nothing; at the
    /// start another port is taken, later the port is waited for.
    void onStranger(std::function<void(quint16 port)> told) { toldOfStranger_ = std::move(told); }

    /// The program, the data directory and the port (that of the build's URL) of this user's own.
    static Place ownPlace();
    /// The executable beside the application, else the one on the search path; empty when there is none.
    static QString findProgram();
    /// Where the service keeps its files for this user.
    static QString defaultDataDirectory();
    /// The trust that goes with a data directory, for one loopback host; trusts nothing for any other host, and nothing
    /// before the service's first start.
    static LocalTrust trustFor(const QString& host, const QString& dataDirectory = defaultDataDirectory());

private:
    void launch(quint16 port);
    void readOutput();
    void ended(int exitCode, QProcess::ExitStatus exit);
    void restartAfterPause();
    void tellServing(bool serves);
    void outOfPatience();
    void joinOther();
    void joinElsewhere();
    void joined();
    void otherIsGone();
    void tellOfStranger();
    Access access() const;
    void finish(const Result<Access>& result);
    QString lastWords() const;

    Place place_;
    Started started_;
    std::function<void(bool)> told_;
    std::function<void(quint16)> toldOfStranger_;
    QProcess process_;
    QSslSocket other_; ///< open for as long as another program's service is used: its end tells that service's end
    QTimer patience_;
    QByteArray output_;
    QByteArray errors_;
    quint16 port_ = 0;
    QElapsedTimer serving_; ///< since the service was last ready; not valid before it was
    QTimer restart_;
    int restarts_ = 0; ///< in a row
    int looks_ = 0;    ///< for the port of another program's service
    bool serves_ = true;
    bool isJoined_ = false; ///< the other one has shown that it is this user's
    bool isWanted_ = false; ///< its owner has got access
};

} // namespace parlowen
