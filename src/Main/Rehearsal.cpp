#include "Rehearsal.h"

#include <AVFoundation/FileCapture.h>
#include <AVFoundation/InputStatus.h>
#include <Foundation/MainQueue.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>
#include <utility>

namespace parlowen {

namespace {

void showFile(SessionStatus& status, const QString& file, InputStatus::State state) {
    InputStatus input;
    input.state = state;
    input.kind = InputKind::Application; // something by itself, whose name says what
    input.name = QFileInfo(file).fileName();
    input.heardSound = true;
    status.setInput(input);
}

} // namespace

CaptureSourceFactory recordedCapture(const QString& file, SessionStatus& status, QPointer<QObject> context,
                                     std::function<void()> ended) {
    showFile(status, file, InputStatus::State::Listening);
    const auto over = [&status, file, ended = std::move(ended)] {
        showFile(status, file, InputStatus::State::Ended);
        ended();
    };
    return [file, context = std::move(context), over, meter = status.meter()]() -> std::unique_ptr<CaptureSource> {
        FileCapture::Options options;
        options.path = file;
        options.meter = meter;
        options.onFinished = [context, over] { onMain(context, over); };
        return std::make_unique<FileCapture>(std::move(options));
    };
}

QString sampleInterview() {
    const QString name = QStringLiteral("sample-interview/sample-interview.wav");
    const QString here = QCoreApplication::applicationDirPath();
    // Installed beside the program, or in the tree that it was built in.
    for (const char* folder : {"/../share/parlowen/", "/../../../resources/"}) {
        const QFileInfo file(here + QLatin1String(folder) + name);
        if (file.isReadable())
            return file.canonicalFilePath();
    }
    return QStandardPaths::locate(QStandardPaths::GenericDataLocation, QStringLiteral("parlowen/") + name);
}

QString Rehearsal::soundName() const { return line().file; }

Result<void> Rehearsal::checkSound() const { return FileCapture::check(line().file); }

CaptureSourceFactory Rehearsal::capture() {
    return recordedCapture(line().file, status(), this, [this] { soundEnded(); });
}

} // namespace parlowen
