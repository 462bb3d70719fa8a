#include "RouterJournal.h"

#include "RouterRecovery.h"
#include "StateFile.h"

#include <Foundation/ConsoleLog.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <utility>

namespace parlowen {

namespace {

QJsonObject toJson(const RouterRecord::Change& change) {
    return {{QStringLiteral("was"), change.was ? QJsonValue(*change.was) : QJsonValue()},
            {QStringLiteral("set"), QJsonArray::fromStringList(change.set)}};
}

QByteArray toBytes(const RouterRecord& record, const ProcessIdentity& process) {
    QJsonObject root{{QStringLiteral("process"), process.toJson()},
                     {QStringLiteral("multiOutput"), record.multiOutput}};
    if (record.input)
        root.insert(QStringLiteral("input"), toJson(*record.input));
    if (record.output)
        root.insert(QStringLiteral("output"), toJson(*record.output));
    return QJsonDocument(root).toJson();
}

/// False when it is there but no change.
bool readChange(const QJsonValue& value, std::optional<RouterRecord::Change>& change) {
    if (value.isUndefined())
        return true;
    const QJsonValue was = value[QLatin1String("was")];
    const QJsonValue set = value[QLatin1String("set")];
    if (!(was.isString() || was.isNull()) || !set.isArray())
        return false;
    change.emplace();
    if (was.isString())
        change->was = was.toString();
    const QJsonArray uids = set.toArray();
    for (const auto uid : uids) {
        if (!uid.isString())
            return false;
        change->set.append(uid.toString());
    }
    return true;
}

struct Parsed {
    RouterRecord record;
    ProcessIdentity process;
};

std::optional<Parsed> parse(const QByteArray& bytes) {
    const QJsonObject root = QJsonDocument::fromJson(bytes).object();
    const std::optional<ProcessIdentity> process = ProcessIdentity::fromJson(root[QLatin1String("process")].toObject());
    const QJsonValue multiOutput = root[QLatin1String("multiOutput")];
    if (!process || !multiOutput.isBool())
        return std::nullopt;
    Parsed parsed{{}, *process};
    parsed.record.multiOutput = multiOutput.toBool();
    if (!readChange(root[QLatin1String("input")], parsed.record.input) ||
        !readChange(root[QLatin1String("output")], parsed.record.output))
        return std::nullopt;
    return parsed;
}

} // namespace

RouterJournal::RouterJournal(QString filePath, ProcessIdentity self)
    : filePath_(std::move(filePath))
    , self_(std::move(self)) {}

QString RouterJournal::defaultPath() { return StateFile::path(QStringLiteral("audio-devices.json")); }

RouterJournal::Content RouterJournal::load() const {
    QFile file(filePath_);
    if (!QFileInfo::exists(filePath_))
        return {};
    const std::optional<Parsed> parsed = file.open(QFile::ReadOnly) ? parse(file.readAll()) : std::nullopt;
    if (!parsed)
        return {Content::Kind::Garbage, {}};
    if (parsed->process == self_)
        return {Content::Kind::Mine, parsed->record};
    return {parsed->process.isAlive() ? Content::Kind::OtherAlive : Content::Kind::OtherDead, parsed->record,
            parsed->process.boot != self_.boot};
}

/// Makes the file ours; false while it is another's. What a dead process left in it is now ours to give back.
bool RouterJournal::takeOver() {
    const Content content = load();
    switch (content.kind) {
    case Content::Kind::OtherAlive:
        if (!std::exchange(toldOfOther_, true))
            consoleLog(QStringLiteral(
                "⚠️ 另一个正在运行的程序已切换音频设备，本次的设备更改不作记录"));
        return false;
    case Content::Kind::Garbage:
        setAside();
        break;
    case Content::Kind::Mine: // what the recovery at the start could not give back
    case Content::Kind::OtherDead:
        if (record_.isEmpty())
            record_ = content.record;
        break;
    case Content::Kind::Missing:
        break;
    }
    if (content.kind != Content::Kind::Mine)
        stored_.reset();
    return true;
}

void RouterJournal::note(std::optional<RouterRecord::Change> RouterRecord::*side, const std::optional<QString>& was,
                         const QString& set) {
    if (!takeOver())
        return;
    std::optional<RouterRecord::Change>& change = record_.*side;
    if (!change)
        change = RouterRecord::Change{was, {}};
    if (!change->set.contains(set))
        change->set.append(set);
    store();
}

void RouterJournal::willSetInput(const std::optional<QString>& was, const QString& set) {
    note(&RouterRecord::input, was, set);
}

void RouterJournal::willSetOutput(const std::optional<QString>& was, const QString& set) {
    note(&RouterRecord::output, was, set);
}

void RouterJournal::willMakeMultiOutput() {
    if (!takeOver())
        return;
    record_.multiOutput = true;
    store();
}

void RouterJournal::gaveBack(const Returned& returned) {
    if (!takeOver())
        return;
    if (returned.input)
        record_.input.reset();
    if (returned.output)
        record_.output.reset();
    // Kept for an output that is not back: what is the default now is the server's choice.
    record_.multiOutput = record_.multiOutput && !(returned.multiOutput && returned.output);
    store();
}

void RouterJournal::store() {
    if (stored_ == record_)
        return;
    QString problem = QStringLiteral("it cannot be removed");
    const bool done = record_.isEmpty() ? StateFile::remove(filePath_)
                                        : StateFile::write(filePath_, toBytes(record_, self_), &problem);
    stored_ = done ? std::optional(record_) : std::nullopt;
    if (!done)
        consoleLog(QStringLiteral("❌ 音频设备记录无法写入 %1：%2").arg(filePath_, problem));
}

void RouterJournal::setAside() const {
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
    const QString kept = filePath_ + QStringLiteral(".unreadable-") + stamp;
    if (QFile::rename(filePath_, kept))
        consoleLog(QStringLiteral("⚠️ 音频设备记录已损坏，保留为 %1").arg(kept));
    else
        consoleLog(QStringLiteral("⚠️ 音频设备记录已损坏，且无法移开：%1").arg(filePath_));
}

RouterJournal::Recovery RouterJournal::recover(const std::shared_ptr<AudioServer>& server) {
    const Content content = load();
    if (content.kind == Content::Kind::OtherAlive) {
        consoleLog(QStringLiteral("⚠️ 另一个正在运行的程序正在使用音频设备，未作恢复"));
        return Recovery::OtherSessionRuns;
    }
    if (content.kind == Content::Kind::Mine)
        return Recovery::NothingLeft;
    if (content.kind == Content::Kind::Garbage)
        setAside();

    bool changed = false;
    const std::optional<RouterRecord> left = giveBack(server, content.record, content.machineRestarted, &changed);
    if (!left)
        return Recovery::NoServer;
    if (content.kind == Content::Kind::OtherDead) {
        record_ = *left;
        store();
    }
    return changed ? Recovery::GaveBack : Recovery::NothingLeft;
}

} // namespace parlowen
