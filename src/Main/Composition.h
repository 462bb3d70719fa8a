#pragma once

#include "Backend.h"

#include <AVFoundation/CaptureSource.h>
#include <Foundation/LocalTrust.h>
#include <Network/HttpDatas.h>
#include <Network/ImageLoader.h>
#include <Network/Settings.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Tools/AudioRouting.h>
#include <Tools/SessionStatus.h>

#include <functional>
#include <memory>

namespace parlowen {

/// Puts the layers together, for as long as the program runs: the one place that names the concrete audio router, the
/// trust in the local service and what stands behind the hooks of the lower layers. Main thread only.
class Composition {
public:
    struct Hooks {
        std::function<void(const QString&)> problem; ///< what an alert tells the user, each time
        std::function<void(const Alert&)> alert;     ///< shows an alert
        std::function<void()> forcedSignOut;         ///< the backend took the sign-in back
    };

    /// `givenBackend` is the API base URL that the command line names, or empty. Settings must outlive it.
    explicit Composition(Settings& settings, const QString& givenBackend = {});

    /// The hooks of whoever is in front at the moment, a session or the windows.
    void setHooks(Hooks hooks) { hooks_ = std::move(hooks); }

    /// Shows an alert and returns when it has been answered.
    static void alertInFront(const Alert& alert);
    /// Shows the alerts of a session's window: nobody presses a button in the middle of a call, so they go by
    /// themselves, the same one at most once a minute.
    static std::function<void(const Alert&)> alertInPassing();

    /// The keeper of the sign-in token on this desktop; null where there is none.
    static std::unique_ptr<SecretKeeper> secretKeeper();

    Backend& backend() { return backend_; }
    /// Finds the backend and has every layer use it before `found` is called, later and once, unless the context is
    /// gone by then.
    void connectBackend(QObject* context, Backend::Found found);
    /// Has every layer use this backend.
    void use(const Backend::Access& access);

    HttpDatas& http() { return http_; }
    ImageLoader& images() { return images_; }

    /// The collaborators of a session, which hears what the factory's sources give and hands the audio devices back
    /// through the router. It reads its choices in `choices`, where there are some beside the program's settings. All
    /// of them outlive it.
    SessionServices sessionServices(CaptureSourceFactory capture, AudioRouting& router, SessionStatus& status,
                                    Settings* choices = nullptr);
    /// A window that shows that session, not shown itself yet.
    static std::unique_ptr<SessionWindow> openWindow(std::unique_ptr<AIInterviewDetailController> session);

private:
    HttpDatas::Hooks requestHooks();

    Settings& settings_;
    Hooks hooks_;
    Backend backend_;
    LocalTrust trust_;
    HttpDatas http_;
    ImageLoader images_;
};

} // namespace parlowen
