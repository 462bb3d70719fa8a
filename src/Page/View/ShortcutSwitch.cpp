#include "ShortcutSwitch.h"

#include <Foundation/NotificationCenter.h>
#include <Network/Settings.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QCheckBox>
#include <QLabel>

namespace parlowen {

std::vector<GlobalShortcut> sessionShortcuts() {
    return {{QStringLiteral("window"), ShortcutSwitch::tr("显示或隐藏面试窗口"), 'h'},
            {QStringLiteral("ask"), ShortcutSwitch::tr("立即回答（手动回答时）"), 'a'},
            {QStringLiteral("run"), ShortcutSwitch::tr("开始或结束面试"), 'r'}};
}

ShortcutSwitch::ShortcutSwitch(Settings& settings, QWidget* parent)
    : QWidget(parent)
    , box_(new QCheckBox(tr("在其他程序中也能使用的快捷键"), this)) {
    box_->setFont(systemFont(13));
    box_->setStyleSheet(styleSheets::checkBox());
    box_->setChecked(settings.globalShortcuts());
    box_->setCursor(Qt::PointingHandCursor);
    QStringList lines;
    for (const GlobalShortcut& shortcut : sessionShortcuts())
        lines << QStringLiteral("Ctrl+Alt+%1  %2")
                     .arg(QChar::fromLatin1(shortcut.letter).toUpper(), shortcut.description);
    QLabel* keys = makeLabel(hexColor(theme::midGrey), false, 12, this);
    keys->setText(lines.join(u'\n'));
    keys->setWordWrap(false);
    box_->setAccessibleDescription(lines.join(u' '));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addWidget(box_, 0, Qt::AlignHCenter);
    column->addWidget(keys, 0, Qt::AlignHCenter);
    connect(box_, &QCheckBox::toggled, this, [this, &settings](bool on) {
        settings.setGlobalShortcuts(on);
        NotificationCenter::shared().post(QStringLiteral("GlobalShortcutsNotification"), this);
    });
}

} // namespace parlowen

#include "moc_ShortcutSwitch.cpp"
