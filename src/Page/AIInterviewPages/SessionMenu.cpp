#include "SessionMenu.h"

#include "AIInterviewDetailController.h"
#include "DarkMenu.h"
#include "FontSteps.h"
#include "SessionWindow.h"

#include <Page/View/ReadingList.h>
#include <Tools/PopView/Accessibility.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QWidgetAction>

namespace parlowen {

namespace {

QString percentText(int percent) { return QStringLiteral("%1%").arg(percent); }

QLabel* makeLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(systemFont(13));
    label->setStyleSheet(styleSheets::darkLabel());
    return label;
}

QSlider* makeSlider(int percent, QWidget* parent) {
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setObjectName(QStringLiteral("opacity"));
    slider->setAccessibleName(SessionMenu::tr("背景不透明度"));
    slider->setRange(SessionWindow::leastOpacity, SessionWindow::fullOpacity);
    slider->setPageStep(10);
    slider->setSingleStep(SessionWindow::opacityStep);
    slider->setValue(percent);
    slider->setMinimumWidth(130);
    slider->setStyleSheet(styleSheets::darkSlider());
    return slider;
}

} // namespace

SessionMenu::SessionMenu(SessionWindow* window, ReadingList* list)
    : QMenu(window) {
    setObjectName(QStringLiteral("sessionMenu"));
    setAttribute(Qt::WA_DeleteOnClose);
    setAccessibleName(tr("菜单"));
    markFirstForKeys(*this);
    makeDark(*this);
    if (list != nullptr)
        addCopying(list);
    addFont(window);
    addSeparator();
    addOpacity(window);
}

QAction* SessionMenu::add(const char* name, const QString& text, const QKeySequence& keys, bool enabled) {
    QAction* action = addAction(text);
    action->setObjectName(QLatin1String(name));
    // For show: the keys work where no menu is open.
    action->setShortcut(keys);
    action->setShortcutContext(Qt::WidgetShortcut);
    action->setShortcutVisibleInContextMenu(true);
    action->setEnabled(enabled);
    return action;
}

void SessionMenu::addCopying(ReadingList* list) {
    const bool any = list->model()->rowCount() > 0;
    connect(add("copy", tr("复制"), QKeySequence::Copy, list->canCopy()), &QAction::triggered, list,
            &ReadingList::copy);
    connect(add("copyAll", tr("复制全部"), {}, any), &QAction::triggered, list, &ReadingList::copyAll);
    connect(add("selectAll", tr("全选"), QKeySequence::SelectAll, any), &QAction::triggered, list,
            &ReadingList::selectAll);
    addSeparator();
}

void SessionMenu::addFont(SessionWindow* window) {
    AIInterviewDetailController* page = window->controller();
    const int size = page->fontSize();
    const auto offer = [&](const char* name, const QString& text, const QKeySequence& keys, int target) {
        connect(add(name, text, keys, target != size), &QAction::triggered, page,
                [page, target] { page->setFontSize(target); });
    };
    offer("largerFont", tr("放大文字"), QKeySequence(Qt::CTRL | Qt::Key_Plus), FontSteps::larger(size));
    offer("smallerFont", tr("缩小文字"), QKeySequence(Qt::CTRL | Qt::Key_Minus), FontSteps::smaller(size));
    offer("usualFont", tr("默认大小"), {}, FontSteps::usual);
}

void SessionMenu::addOpacity(SessionWindow* window) {
    const int opacity = window->groundOpacity();
    const auto offer = [&](const char* name, const QString& text, Qt::Key key, int target, int limit) {
        connect(add(name, text, Qt::ALT | key, opacity != limit), &QAction::triggered, window,
                [window, target] { window->setGroundOpacity(target); });
    };
    offer("denser", tr("背景更实"), Qt::Key_Up, opacity + SessionWindow::opacityStep, SessionWindow::fullOpacity);
    offer("clearer", tr("背景更透"), Qt::Key_Down, opacity - SessionWindow::opacityStep, SessionWindow::leastOpacity);
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(14, 4, 12, 6);
    layout->setSpacing(10);
    auto* slider = makeSlider(window->groundOpacity(), row);
    auto* figure = makeLabel(percentText(slider->maximum()), row);
    figure->setFixedWidth(figure->sizeHint().width());
    figure->setText(percentText(slider->value()));
    layout->addWidget(makeLabel(tr("背景不透明度"), row));
    layout->addWidget(slider, 1);
    layout->addWidget(figure);
    row->setFocusProxy(slider);
    connect(slider, &QSlider::valueChanged, this, [window, figure](int percent) {
        window->setGroundOpacity(percent);
        figure->setText(percentText(percent));
    });
    auto* action = new QWidgetAction(this);
    action->setText(slider->accessibleName());
    action->setDefaultWidget(row);
    addAction(action);
}

} // namespace parlowen

#include "moc_SessionMenu.cpp"
