#include "ServerWatch.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <algorithm>
#include <atomic>
#include <pulse/pulseaudio.h>

namespace parlowen::testing {

QString control(const QStringList& arguments, bool mayFail) {
    QProcess pactl;
    pactl.start(QStringLiteral("pactl"), arguments);
    const bool done = pactl.waitForFinished() && pactl.exitCode() == 0;
    EXPECT_TRUE(done || mayFail) << arguments.join(u' ').toStdString() << ": "
                                 << pactl.readAllStandardError().toStdString();
    return QString::fromUtf8(pactl.readAllStandardOutput()).trimmed();
}

/// A subscription, on a thread of the library's own.
struct ServerWatch::Connection {
    Connection() {
        pa_context_set_state_callback(context, onState, this);
        pa_context_set_subscribe_callback(
            context,
            [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
                static_cast<Connection*>(self)->changed = true;
            },
            this);
        pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
        pa_threaded_mainloop_start(loop);
    }
    ~Connection() {
        pa_threaded_mainloop_stop(loop);
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
        pa_threaded_mainloop_free(loop);
    }

    static void onState(pa_context* context, void* data) {
        auto* self = static_cast<Connection*>(data);
        self->lost = !PA_CONTEXT_IS_GOOD(pa_context_get_state(context));
        if (pa_context_get_state(context) != PA_CONTEXT_READY)
            return;
        const auto all = static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_ALL & ~PA_SUBSCRIPTION_MASK_CLIENT);
        pa_operation_unref(pa_context_subscribe(
            context, all, [](pa_context*, int, void* watch) { static_cast<Connection*>(watch)->changed = true; },
            self));
    }

    pa_threaded_mainloop* const loop = pa_threaded_mainloop_new();
    pa_context* const context = pa_context_new(pa_threaded_mainloop_get_api(loop), "Test");
    std::atomic<bool> changed = false; // also once it listens
    std::atomic<bool> lost = false;
};

ServerWatch::ServerWatch()
    : connection_(std::make_unique<Connection>()) {}

ServerWatch::~ServerWatch() = default;

bool ServerWatch::until(const std::function<bool()>& condition, int milliseconds) {
    const QDeadlineTimer deadline(milliseconds);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        if (connection_->lost)
            connection_ = std::make_unique<Connection>();
        waitFor([this] { return connection_->changed.exchange(false) || connection_->lost; },
                static_cast<int>(deadline.remainingTime()));
    }
    return true;
}

void ServerWatch::untilQuiet() {
    const QDeadlineTimer deadline(10'000);
    while (!deadline.hasExpired() && waitFor([this] { return connection_->changed.exchange(false); }, 500)) {
    }
}

namespace {

QJsonObject answer(const QStringList& arguments) {
    return QJsonDocument::fromJson(control(QStringList{"--format=json"} + arguments).toUtf8()).object();
}

/// Without the fields, at any depth, that differ from one moment or one run to the next.
QJsonValue lasting(const QJsonValue& value) {
    static const QRegularExpression passing(
        R"(^(index|state|client|owner_module|usage_counter|n_used|.*latency.*|(object|client|factory|module|device|session)\.(id|serial)|node\.(rate|id|loop.*)|clock\..*|application\.process\.(id|session.*)|native-protocol\..*)$)");
    if (value.isArray()) {
        QJsonArray result;
        for (const QJsonValue& element : value.toArray())
            result.append(lasting(element));
        return result;
    }
    if (value.isString()) {
        static const QRegularExpression ofThisServer(R"(loopback-\d+-\d+|socket=\S+)");
        return value.toString().remove(ofThisServer);
    }
    if (!value.isObject())
        return value;
    QJsonObject result;
    const QJsonObject object = value.toObject();
    for (auto it = object.begin(); it != object.end(); ++it)
        if (!passing.match(it.key()).hasMatch())
            result.insert(it.key(), lasting(it.value()));
    return result;
}

/// The names of a kind of devices by number.
QMap<int, QString> namesOf(const QJsonArray& devices) {
    QMap<int, QString> names;
    for (const QJsonValue& device : devices)
        names.insert(device["index"].toInt(), device["name"].toString());
    return names;
}

void addStreams(ServerDump& dump, const QJsonArray& streams, const QString& device, const QMap<int, QString>& names,
                const QString& doing) {
    for (const QJsonValue& value : streams) {
        QJsonObject stream = value.toObject();
        const QString to = names.value(stream[device].toInt());
        if (stream["properties"].toObject()["application.process.binary"].toString() == QLatin1String("parlowen")) {
            dump.ours << doing + ' ' + to;
            continue;
        }
        stream[device] = to;
        // A stream of the server's own runs when somebody wants its sound.
        if (!stream["properties"].toObject().contains("application.name"))
            stream.remove("corked");
        dump.others << doing + ' ' + QJsonDocument(lasting(stream).toObject()).toJson(QJsonDocument::Compact);
    }
}

} // namespace

ServerDump dumpServer() {
    const QJsonObject all = answer({"list"});
    const QJsonObject info = answer({"info"});
    EXPECT_FALSE(all.isEmpty());
    ServerDump dump;
    for (const char* name : {"default_sink_name", "default_source_name", "default_sample_specification"})
        dump.others << QLatin1String(name) + ' ' + info[QLatin1String(name)].toString();
    for (const char* kind : {"modules", "cards", "sinks", "sources"})
        for (const QJsonValue& object : all[QLatin1String(kind)].toArray())
            dump.others << QLatin1String(kind) + ' ' +
                               QJsonDocument(lasting(object).toObject()).toJson(QJsonDocument::Compact);
    addStreams(dump, all["sink_inputs"].toArray(), "sink", namesOf(all["sinks"].toArray()), "playing to");
    addStreams(dump, all["source_outputs"].toArray(), "source", namesOf(all["sources"].toArray()), "recording");
    dump.others.sort();
    dump.ours.sort();
    return dump;
}

std::string differences(const QStringList& before, const QStringList& after) {
    QStringList gone, come;
    std::ranges::set_difference(before, after, std::back_inserter(gone));
    std::ranges::set_difference(after, before, std::back_inserter(come));
    return (gone.replaceInStrings(QRegularExpression("^"), "- ") + come.replaceInStrings(QRegularExpression("^"), "+ "))
        .join(u'\n')
        .toStdString();
}

} // namespace parlowen::testing
