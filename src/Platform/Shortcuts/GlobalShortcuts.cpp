#include "GlobalShortcuts.h"

#include "PortalShortcuts.h"
#include "X11Shortcuts.h"

#include <Foundation/Phrase.h>

#include <QDBusConnection>

namespace parlowen {

namespace {

constexpr Phrase notOffered{"this desktop offers no global shortcuts", "这个桌面不提供全局快捷键"};

/// The first source that has them. What the user refused the portal is not taken elsewhere.
class DesktopShortcuts : public GlobalShortcuts {
public:
    void bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) override {
        auto byDesktop = std::make_unique<PortalShortcuts>(QDBusConnection::sessionBus());
        const PortalShortcuts& asked = *byDesktop;
        use(std::move(byDesktop));
        source_->bind(shortcuts, [this, shortcuts, &asked, bound = std::move(bound)](const Result<void>& byPortal) {
            // Under Wayland an X server hears the keys of its own windows alone.
            const bool isX11 =
                qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && !qEnvironmentVariableIsEmpty("DISPLAY");
            const bool isDecided = byPortal || asked.isRefused();
            if (isDecided || !isX11) {
                bound(isDecided ? byPortal : Result<void>(failure(notOffered.here())));
                return;
            }
            QObject* const portal = source_.release();
            portal->deleteLater(); // it is what calls
            use(std::make_unique<X11Shortcuts>(qgetenv("DISPLAY")));
            source_->bind(shortcuts, bound);
        });
    }

private:
    void use(std::unique_ptr<GlobalShortcuts> source) {
        source_ = std::move(source);
        connect(source_.get(), &GlobalShortcuts::activated, this, &GlobalShortcuts::activated);
    }

    std::unique_ptr<GlobalShortcuts> source_;
};

} // namespace

std::unique_ptr<GlobalShortcuts> GlobalShortcuts::ofDesktop() { return std::make_unique<DesktopShortcuts>(); }

} // namespace parlowen

#include "moc_GlobalShortcuts.cpp"
