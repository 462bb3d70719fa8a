#include "LiveSession.h"

#include "Composition.h"

#include <AVFoundation/CaptureSource.h>
#include <Tools/KXAudioRouter.h>

#include <utility>

namespace parlowen {

LiveSession::LiveSession(Composition& composition, const SessionSound& sound, QObject* parent)
    : QObject(parent) {
    if (sound.system)
        hear(sound);
    connect(&status_, &SessionStatus::outputChosen, this, [sound](const QString& output) { hear(sound, output); });
    auto session = std::make_unique<AIInterviewDetailController>(
        composition.sessionServices(inputCapture(status_.inputObserver()), KXAudioRouter::shared(), status_));
    AIInterviewDetailController* controller = session.get();
    window_ = Composition::openWindow(std::move(session));
    if (presence_.isSecond())
        window_->addStatusNote({QStringLiteral("Another interview window is open; both go on"),
                                QStringLiteral("另一个面试窗口已打开，两个都会继续")});
    connect(&composition.backend(), &Backend::servingChanged, controller,
            [controller](bool serves) { controller->setServiceStarting(!serves); });
    connect(controller, &AIInterviewDetailController::closing, this, &QObject::deleteLater);
}

} // namespace parlowen
