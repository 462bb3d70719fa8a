#include "SecretService.h"

#include <QByteArray>
#include <QFile>
#include <libsecret/secret.h>

namespace parlowen {

namespace {

struct GFree {
    void operator()(GCancellable* object) const { g_object_unref(object); }
    void operator()(GDBusConnection* object) const { g_object_unref(object); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* secret) const { secret_password_free(secret); }
};

template<class Handle>
using GHandle = std::unique_ptr<Handle, GFree>;

const SecretSchema* schema() {
    static const SecretSchema ours = [] {
        SecretSchema made{};
        made.name = "parlowen.SignIn";
        made.attributes[0] = {"owner", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return &ours;
}

QString messageOf(const GHandle<GError>& error) { return QString::fromUtf8(error->message); }

/// Connects as the library will, which shares the connection: without this its end would be the program's.
Result<void> connectBus(GCancellable* cancellable) {
    GError* failed = nullptr;
    const GHandle<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, &failed));
    if (!bus)
        return failure(messageOf(GHandle<GError>(failed)));
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return {};
}

} // namespace

struct SecretService::Cancellation {
    GHandle<GCancellable> object{g_cancellable_new()};
};

SecretService::SecretService()
    : cancellation_(std::make_unique<Cancellation>()) {}

SecretService::~SecretService() = default;

// Without an address the library would start a bus of its own.
std::unique_ptr<SecretKeeper> SecretService::ofThisDesktop() {
    const QString socket = qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus");
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") && !QFile::exists(socket))
        return nullptr;
    return std::make_unique<SecretService>();
}

Result<std::optional<QString>> SecretService::secret(const QString& owner) {
    if (Result<void> bus = connectBus(cancellation_->object.get()); !bus)
        return failure(bus.error());
    GError* failed = nullptr;
    const GHandle<gchar> found(secret_password_lookup_sync(schema(), cancellation_->object.get(), &failed, "owner",
                                                           owner.toUtf8().constData(), nullptr));
    if (failed != nullptr)
        return failure(messageOf(GHandle<GError>(failed)));
    return found ? std::optional(QString::fromUtf8(found.get())) : std::nullopt;
}

Result<void> SecretService::keep(const QString& owner, const QString& secret) {
    if (Result<void> bus = connectBus(cancellation_->object.get()); !bus)
        return bus;
    GError* failed = nullptr;
    secret_password_store_sync(schema(), SECRET_COLLECTION_DEFAULT, "Parlowen", secret.toUtf8().constData(),
                               cancellation_->object.get(), &failed, "owner", owner.toUtf8().constData(), nullptr);
    if (failed != nullptr)
        return failure(messageOf(GHandle<GError>(failed)));
    return {};
}

void SecretService::forget(const QString& owner) {
    if (!connectBus(cancellation_->object.get()))
        return;
    GError* failed = nullptr;
    secret_password_clear_sync(schema(), cancellation_->object.get(), &failed, "owner", owner.toUtf8().constData(),
                               nullptr);
    const GHandle<GError> unheeded(failed);
}

void SecretService::cancel() { g_cancellable_cancel(cancellation_->object.get()); }

} // namespace parlowen
