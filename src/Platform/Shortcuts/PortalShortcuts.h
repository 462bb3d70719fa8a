#pragma once

#include "GlobalShortcuts.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QVariantMap>

namespace parlowen {

/// Shortcuts of the desktop's portal, org.freedesktop.portal.GlobalShortcuts. The desktop asks its user, who may choose
/// other keys, and keeps the answer.
class PortalShortcuts : public GlobalShortcuts {
    Q_OBJECT
public:
    explicit PortalShortcuts(const QDBusConnection& bus);
    ~PortalShortcuts() override;

    void bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) override;
    /// Whether it was the user who said no.
    bool isRefused() const { return isRefused_; }

private Q_SLOTS:
    void sessionIsMade(uint code, const QVariantMap& results);
    void shortcutsAreBound(uint code, const QVariantMap& results);
    void heardActivated(const QDBusObjectPath& session, const QString& id, qulonglong time, const QVariantMap& options);

private:
    QString expect(const char* slot);
    void call(const char* method, const QVariantList& arguments);
    void bindInSession();
    void endRefused(uint code);
    void end(const Result<void>& result);

    QDBusConnection bus_;
    std::vector<GlobalShortcut> shortcuts_;
    Bound bound_;
    bool isRefused_ = false;
    QString session_; ///< its object path; empty before there is one
};

} // namespace parlowen
