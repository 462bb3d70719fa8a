#include "PortalShortcuts.h"

#include <Foundation/Phrase.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QUuid>
#include <utility>

namespace parlowen {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString appId = QStringLiteral("org.parlowen.Parlowen"); // of the desktop file

constexpr Phrase noBus{"there is no session bus", "没有会话总线"};
constexpr Phrase refused{"the desktop did not permit global shortcuts", "桌面没有允许全局快捷键"};

/// (sa{sv}) on the bus.
struct OfferedShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const OfferedShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, OfferedShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

QString newToken() { return QStringLiteral("parlowen_") + QUuid::createUuid().toString(QUuid::Id128); }

/// A request's answer comes from an object whose name is known before the request is made.
QString requestPath(const QDBusConnection& bus, const QString& token) {
    const QString sender = bus.baseService().mid(1).replace(u'.', u'_');
    return portalPath + QStringLiteral("/request/") + sender + u'/' + token;
}

} // namespace

} // namespace parlowen

Q_DECLARE_METATYPE(parlowen::OfferedShortcut)

namespace parlowen {

PortalShortcuts::PortalShortcuts(const QDBusConnection& bus)
    : bus_(bus) {
    qDBusRegisterMetaType<OfferedShortcut>();
    qDBusRegisterMetaType<QList<OfferedShortcut>>();
}

PortalShortcuts::~PortalShortcuts() {
    if (!session_.isEmpty())
        bus_.send(QDBusMessage::createMethodCall(service, session_, QStringLiteral("org.freedesktop.portal.Session"),
                                                 QStringLiteral("Close")));
}

void PortalShortcuts::bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) {
    if (!bus_.isConnected()) { // whose calls would never end
        bound(failure(noBus.here()));
        return;
    }
    shortcuts_ = shortcuts;
    bound_ = std::move(bound);
    // Newer portals want to know who a program outside a sandbox is; older ones know no such request.
    QDBusMessage registering = QDBusMessage::createMethodCall(
        service, portalPath, QStringLiteral("org.freedesktop.host.portal.Registry"), QStringLiteral("Register"));
    registering << appId << QVariantMap();
    bus_.send(registering);
    const QString request = expect(SLOT(sessionIsMade(uint, QVariantMap)));
    call("CreateSession", {QVariantMap{{QStringLiteral("handle_token"), request},
                                       {QStringLiteral("session_handle_token"), newToken()}}});
}

/// Has the slot hear the answer to the request that is made with the token returned.
QString PortalShortcuts::expect(const char* slot) {
    const QString token = newToken();
    bus_.connect(service, requestPath(bus_, token), QStringLiteral("org.freedesktop.portal.Request"),
                 QStringLiteral("Response"), this, slot);
    return token;
}

void PortalShortcuts::call(const char* method, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, portalPath, shortcutsInterface, QLatin1String(method));
    message.setArguments(arguments);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        if (watcher->isError())
            end(failure(watcher->error().message()));
    });
}

void PortalShortcuts::sessionIsMade(uint code, const QVariantMap& results) {
    const QVariant handle = results.value(QStringLiteral("session_handle"));
    session_ = handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path() : handle.toString();
    if (code == 0 && !session_.isEmpty())
        bindInSession();
    else
        endRefused(code);
}

void PortalShortcuts::bindInSession() {
    bus_.connect(service, portalPath, shortcutsInterface, QStringLiteral("Activated"), this,
                 SLOT(heardActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    QList<OfferedShortcut> offered;
    for (const GlobalShortcut& shortcut : shortcuts_)
        offered.append(
            {shortcut.id,
             {{QStringLiteral("description"), shortcut.description},
              {QStringLiteral("preferred_trigger"), QStringLiteral("CTRL+ALT+") + QLatin1Char(shortcut.letter)}}});
    const QString request = expect(SLOT(shortcutsAreBound(uint, QVariantMap)));
    call("BindShortcuts", {QVariant::fromValue(QDBusObjectPath(session_)), QVariant::fromValue(offered), QString(),
                           QVariantMap{{QStringLiteral("handle_token"), request}}});
}

void PortalShortcuts::shortcutsAreBound(uint code, const QVariantMap&) { code == 0 ? end({}) : endRefused(code); }

void PortalShortcuts::heardActivated(const QDBusObjectPath& session, const QString& id, qulonglong,
                                     const QVariantMap&) {
    if (session.path() == session_)
        Q_EMIT activated(id);
}

/// `code` is the answer's: 1 where the user said no, 2 where something else kept the portal from it.
void PortalShortcuts::endRefused(uint code) {
    isRefused_ = code == 1;
    end(failure(refused.here()));
}

void PortalShortcuts::end(const Result<void>& result) {
    if (const Bound bound = std::exchange(bound_, nullptr))
        bound(result);
}

} // namespace parlowen

#include "moc_PortalShortcuts.cpp"
