#include "PrivateAudioServer.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <algorithm>
#include <array>
#include <atomic>
#include <pulse/pulseaudio.h>
#include <vector>

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

/// What lasts of an object: numbers, latencies and states differ between two moments or runs of the same.
QString lasting(const QString& kind, const QJsonObject& object) {
    static const QRegularExpression ofThisServer(R"(loopback-\d+-\d+|socket=\S+|"latency":[^,}]*)");
    QJsonObject kept;
    for (const char* key : {"name", "description", "argument", "sample_specification", "mute", "volume", "active_port",
                            "to", "application"})
        if (object.contains(QLatin1String(key)))
            kept.insert(QLatin1String(key), object[QLatin1String(key)]);
    return kind + ' ' + QString::fromUtf8(QJsonDocument(kept).toJson(QJsonDocument::Compact)).remove(ofThisServer);
}

/// The streams of a kind, with the names of what they are routed to and of their programs.
std::vector<QJsonObject> streams(const QJsonObject& all, const QString& kind, const QString& device) {
    std::vector<QJsonObject> found;
    for (const QJsonValue& value : all[kind].toArray()) {
        QJsonObject stream = value.toObject();
        for (const QJsonValue& candidate : all[device + u's'].toArray())
            if (candidate["index"] == stream[device])
                stream["to"] = candidate["name"];
        const QJsonObject properties = stream["properties"].toObject();
        stream["name"] = properties["application.name"];
        stream["application"] = properties["application.process.binary"];
        found.push_back(stream);
    }
    return found;
}

constexpr std::array streamKinds{std::array{"sink_inputs", "sink", "playing to "},
                                 std::array{"source_outputs", "source", "recording "}};
const QString ours = QStringLiteral("parlowen");

} // namespace

QStringList dumpServer() {
    const QJsonObject all = answer({"list"}), info = answer({"info"});
    EXPECT_FALSE(all.isEmpty());
    QStringList dump;
    for (const char* name : {"default_sink_name", "default_source_name", "default_sample_specification"})
        dump << QLatin1String(name) + ' ' + info[QLatin1String(name)].toString();
    for (const char* kind : {"modules", "cards", "sinks", "sources"})
        for (const QJsonValue& object : all[QLatin1String(kind)].toArray())
            dump << lasting(kind, object.toObject());
    for (const auto& [kind, device, doing] : streamKinds)
        for (const QJsonObject& stream : streams(all, kind, device))
            if (stream["application"] != ours)
                dump << lasting(doing, stream);
    dump.sort();
    return dump;
}

QStringList applicationStreams() {
    const QJsonObject all = answer({"list"});
    QStringList found;
    for (const auto& [kind, device, doing] : streamKinds)
        for (const QJsonObject& stream : streams(all, kind, device))
            if (stream["application"] == ours)
                found << doing + stream["to"].toString();
    found.sort();
    return found;
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
