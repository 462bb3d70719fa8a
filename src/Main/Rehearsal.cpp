#include "Rehearsal.h"

#include <AVFoundation/FileCapture.h>
#include <Foundation/MainQueue.h>

#include <QFileInfo>
#include <utility>

namespace parlowen {

QString Rehearsal::soundName() const { return line().file; }

Result<void> Rehearsal::checkSound() const { return FileCapture::check(line().file); }

CaptureSourceFactory Rehearsal::capture() {
    showFile(InputStatus::State::Listening);
    return [self = QPointer<Rehearsal>(this), file = line().file,
            meter = status().meter()]() -> std::unique_ptr<CaptureSource> {
        FileCapture::Options options;
        options.path = file;
        options.meter = meter;
        options.onFinished = [self] { onMain(self, [self] { self->recordingEnded(); }); };
        return std::make_unique<FileCapture>(std::move(options));
    };
}

void Rehearsal::recordingEnded() {
    showFile(InputStatus::State::Ended);
    soundEnded();
}

void Rehearsal::showFile(InputStatus::State state) {
    InputStatus input;
    input.state = state;
    input.kind = InputKind::Application; // something by itself, whose name says what
    input.name = QFileInfo(line().file).fileName();
    input.heardSound = true;
    status().setInput(input);
}

} // namespace parlowen
