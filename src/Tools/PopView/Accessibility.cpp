#include "Accessibility.h"

#include <QAccessibleWidget>
#include <QGuiApplication>
#include <QMenu>
#include <QTimer>
#include <algorithm>

namespace parlowen {

namespace {

const char* const roleProperty = "accessibleRole";

QAccessibleInterface* withItsRole(const QString&, QObject* object) {
    const QVariant role = object->isWidgetType() ? object->property(roleProperty) : QVariant();
    if (!role.isValid())
        return nullptr;
    return new QAccessibleWidget(static_cast<QWidget*>(object), static_cast<QAccessible::Role>(role.toInt()));
}

bool canBeChosen(const QAction* action) { return !action->isSeparator() && action->isVisible() && action->isEnabled(); }

} // namespace

void setAccessibleRole(QWidget& widget, QAccessible::Role role) {
    QAccessible::installFactory(withItsRole); // once, however often it is called
    widget.setProperty(roleProperty, static_cast<int>(role));
}

void markFirstForKeys(QMenu& menu) {
    QObject::connect(&menu, &QMenu::aboutToShow, &menu, [&menu] {
        if (QGuiApplication::mouseButtons() != Qt::NoButton)
            return;
        QTimer::singleShot(0, &menu, [&menu] { // once it is on the screen
            const QList<QAction*> actions = menu.actions();
            const auto first = std::find_if(actions.begin(), actions.end(), canBeChosen);
            if (menu.isVisible() && menu.activeAction() == nullptr && first != actions.end())
                menu.setActiveAction(*first);
        });
    });
}

} // namespace parlowen
