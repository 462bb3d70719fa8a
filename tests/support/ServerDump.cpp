#include "ServerDump.h"

#include "EitherAudioServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRegularExpression>

namespace parlowen::testing {

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
    QStringList gone = before, come = after;
    for (const QString& entry : before)
        if (come.removeOne(entry))
            gone.removeOne(entry);
    std::string text;
    for (const QString& entry : gone)
        text += "- " + entry.toStdString() + '\n';
    for (const QString& entry : come)
        text += "+ " + entry.toStdString() + '\n';
    return text;
}

} // namespace parlowen::testing
