#include "ServerDump.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <algorithm>
#include <array>
#include <support/PrivateAudioServer.h>
#include <vector>

namespace parlowen::testing {

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
