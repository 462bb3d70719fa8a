#include "Rehearsal.h"

#include <AVFoundation/FileCapture.h>
#include <Foundation/MainQueue.h>

#include <utility>

namespace parlowen {

QString Rehearsal::soundName() const { return line().file; }

std::optional<QString> Rehearsal::soundProblem() const { return FileCapture::problemWith(line().file); }

CaptureSourceFactory Rehearsal::capture() {
    return [self = QPointer<Rehearsal>(this), file = line().file]() -> std::unique_ptr<CaptureSource> {
        FileCapture::Options options;
        options.path = file;
        options.onFinished = [self] { onMain(self, [self] { self->soundEnded(); }); };
        return std::make_unique<FileCapture>(std::move(options));
    };
}

} // namespace parlowen
