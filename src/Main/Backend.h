#pragma once

#include "LocalService.h"

#include <Foundation/Result.h>

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace parlowen {

/// Finds the backend, once for the whole program and all its sessions: the one that was given (on the command line,
/// else in the environment), else the one that the settings remember, else the one of the build. Where that last one is
/// on this machine, the local service is started and watched for as long as this object lives. Main thread only.
class Backend : public QObject {
    Q_OBJECT

public:
    using Access = LocalService::Access;
    using Found = std::function<void(const Result<Access>&)>;

    /// `given` by the command line, empty when it says nothing; `remembered` in the settings. Starts nothing. The local
    /// service's port is that of the build's URL.
    explicit Backend(const QString& given = {}, const std::optional<QString>& remembered = {},
                     LocalService::Place place = LocalService::ownPlace());

    /// Whether somebody chose it for this run, so that it stands in for what is remembered.
    bool isGiven() const { return isGiven_; }
    /// The API base URL as it was given, remembered or built in, without a slash at its end.
    const QString& address() const { return address_; }
    /// Whether the address can be a backend's at all: an http or https URL with a host.
    Result<void> checkAddress() const;
    /// Whether it is the local service, which this object starts.
    bool isLocalService() const;

    /// Finds it, unless it is found already; a local service that could not be started is tried again. `found` is
    /// called later and once, unless the context is gone by then.
    void find(QObject* context, Found found);

Q_SIGNALS:
    /// The local service, which had been found, is gone and is being started again (false), or serves again (true).
    void servingChanged(bool serves);
    /// Something else than this user's service holds the local service's port. Nothing is sent to it.
    void portTaken(int port);

private:
    void tell(const Result<Access>& result);

    bool isGiven_ = false;
    QString address_;
    QString source_; ///< where the address comes from, in words
    LocalService::Place place_;
    std::unique_ptr<LocalService> service_;
    std::optional<Access> access_;
    std::vector<std::pair<QPointer<QObject>, Found>> waiting_;
};

} // namespace parlowen
