#pragma once

#include "WaitFor.h"
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <csignal>
#include <gtest/gtest.h>

/// Whole runs of the application, for tests that define where the sources and the built programs are.
namespace parlowen::testing {

inline const QString parlowenProgram = QStringLiteral(PARLOWEN_BINARY_DIR "/bin/parlowen");
inline const QString sampleFolder = QStringLiteral(PARLOWEN_SOURCE_DIR "/resources/sample-interview/");
inline const QString sampleInterview = sampleFolder + QStringLiteral("sample-interview.wav");

/// One line of the program's JSON report.
struct Event {
    QString kind;
    QString text;
    int row = 0;
    QString translation;
    int seconds = 0;
};

/// Where a run of the program keeps what it stores; runs that follow each other may share it.
class ProgramHome {
public:
    QProcessEnvironment environment() const {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"}) {
            QDir().mkpath(filePath(QLatin1String(name)));
            environment.insert(QLatin1String(name), filePath(QLatin1String(name)));
        }
        return environment;
    }
    QString filePath(const QString& name) const { return directory_.filePath(name); }

private:
    QTemporaryDir directory_;
};

/// One run of the program. It ends with this object.
struct ProgramRun {
    explicit ProgramRun(const QStringList& arguments, const QMap<QString, QString>& variables = {},
                        const std::shared_ptr<ProgramHome>& sharedHome = std::make_shared<ProgramHome>())
        : home(sharedHome) {
        QProcessEnvironment environment = home->environment();
        for (auto it = variables.begin(); it != variables.end(); ++it)
            environment.insert(it.key(), it.value());
        process.setProcessEnvironment(environment);
        process.start(parlowenProgram, arguments);
    }
    ~ProgramRun() {
        process.kill();
        process.waitForFinished();
    }

    void signal(int number) const {
        if (process.processId() > 0) // 0 would be the test itself and all its children
            ::kill(static_cast<pid_t>(process.processId()), number);
    }

    /// The exit status; -1 when it crashed or did not end within the bound.
    int finish(int milliseconds = 120'000) {
        if (process.state() != QProcess::NotRunning)
            process.waitForFinished(milliseconds);
        if (process.state() != QProcess::NotRunning || process.exitStatus() != QProcess::NormalExit)
            return -1;
        read();
        return process.exitCode();
    }

    void read() {
        output += process.readAllStandardOutput();
        errors += process.readAllStandardError();
    }

    std::vector<Event> events() {
        read();
        std::vector<Event> result;
        for (const QByteArray& line : output.split('\n')) {
            const QJsonObject object = QJsonDocument::fromJson(line).object();
            if (!object.isEmpty())
                result.push_back({object["kind"].toString(), object["text"].toString(), object["row"].toInt(),
                                  object["translation"].toString(), object["seconds"].toInt()});
        }
        return result;
    }

    std::vector<Event> events(const QString& kind) {
        std::vector<Event> result = events();
        std::erase_if(result, [&kind](const Event& event) { return event.kind != kind; });
        return result;
    }

    /// The finished sentences, in one line.
    std::string heardText() {
        std::string heard;
        for (const Event& row : events(QStringLiteral("row")))
            heard += row.text.toStdString() + " ";
        return heard;
    }

    std::shared_ptr<ProgramHome> home;
    QProcess process;
    QByteArray output;
    QByteArray errors;
};

inline QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The first seconds of the sample interview, as a file of its own: about one question. Behind its end it is quiet.
inline QString shortRecording(const QTemporaryDir& folder, int seconds = 8) {
    QString path = folder.filePath(QStringLiteral("short.wav"));
    QByteArray wave = contents(sampleInterview).leftJustified(44 + seconds * 32'000, '\0', true);
    for (const auto& [at, size] : {std::pair(4, wave.size() - 8), {40, wave.size() - 44}})
        qToLittleEndian(static_cast<quint32>(size), wave.data() + at);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(wave);
    return path;
}

} // namespace parlowen::testing
