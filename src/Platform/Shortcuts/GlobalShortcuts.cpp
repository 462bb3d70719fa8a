#include "GlobalShortcuts.h"

#include "PortalShortcuts.h"
#include "X11Shortcuts.h"

#include <Foundation/Phrase.h>

#include <QDBusConnection>

namespace parlowen {

namespace {

constexpr Phrase notOffered{"this desktop offers no global shortcuts", "这个桌面不提供全局快捷键"};

/// The first source that has them.
class DesktopShortcuts : public GlobalShortcuts {
public:
    void bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) override {
        use(std::make_unique<PortalShortcuts>(QDBusConnection::sessionBus()));
        source_->bind(shortcuts, [this, shortcuts, bound = std::move(bound)](const Result<void>& byPortal) {
            // Under Wayland an X server hears the keys of its own windows alone.
            const bool isX11 =
                qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && !qEnvironmentVariableIsEmpty("DISPLAY");
            if (byPortal || !isX11) {
                bound(byPortal ? byPortal : Result<void>(failure(notOffered.here())));
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
