#include "StyleSheets.h"

#include "Colors.h"
#include "SystemFont.h"

#include <utility>

namespace parlowen::styleSheets {

namespace {

constexpr int checkBoxSide = 15;

/// Puts the theme's colours in the place of their names.
QString inColors(QString sheet) {
    const QColor accent = hexColor(theme::accent);
    const std::pair<const char*, QColor> names[] = {
        {"@accent", accent},
        {"@lighterAccent", accent.lighter(112)},
        {"@darkerAccent", accent.darker(115)},
        {"@onDark", hexColor(theme::onDark)},
        {"@title", hexColor(theme::onDark, theme::title)},
        {"@hover", hexColor(theme::onDark, theme::hover)},
        {"@line", hexColor(theme::darkGrey)},
        {"@ground", hexColor(theme::sessionWindow)},
        {"@menu", hexColor(theme::darkMenu)},
        {"@disabled", hexColor(theme::darkDisabled)},
    };
    for (const auto& [name, color] : names)
        sheet.replace(QLatin1String(name), color.name(QColor::HexArgb));
    return sheet;
}

} // namespace

QString button(const QColor& title, const QColor& ground, double radius) {
    return QStringLiteral(
               "QPushButton { color: %1; background: %2; border: none; border-radius: %3px; padding: 5px 12px;"
               " outline: none; }"
               "QPushButton:hover { background: %4; } QPushButton:pressed { background: %5; }"
               "QPushButton:focus { border: 1px solid %6; }"
               "QPushButton:disabled { color: %7; }")
        .arg(title.name(QColor::HexArgb), ground.name(QColor::HexArgb))
        .arg(radius)
        .arg(ground.lighter(106).name(QColor::HexArgb), ground.darker(110).name(QColor::HexArgb),
             ground.darker(140).name(QColor::HexArgb), hexColor(theme::lightGrey).name());
}

QString checkBox() {
    return QStringLiteral("QCheckBox { color: %1; spacing: 7px; padding: 2px 4px 2px 2px;"
                          " border: 1px solid transparent; border-radius: 5px; }"
                          "QCheckBox:focus { border-color: %2; }"
                          "QCheckBox::indicator { width: %4px; height: %4px; border: 1px solid %3;"
                          " border-radius: 4px; background: white; }"
                          "QCheckBox::indicator:hover { border-color: %2; }"
                          "QCheckBox::indicator:checked { background: %2; border-color: %2;"
                          " image: url(:/icons/login_check.svg); }")
        .arg(hexColor(theme::midGrey).name(), hexColor(theme::link).name(), hexColor(theme::placeholder).name())
        .arg(inPoints(checkBoxSide));
}

QString lightScrollBar() {
    return QStringLiteral("QScrollBar:vertical { width: 8px; background: transparent; margin: 0; }"
                          "QScrollBar:horizontal { height: 8px; background: transparent; margin: 0; }"
                          "QScrollBar::handle { background: %1; border-radius: 3px; margin: 1px; min-height: 24px;"
                          " min-width: 24px; } QScrollBar::handle:hover { background: %2; }"
                          "QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; }"
                          "QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }")
        .arg(hexColor(theme::lightGrey).name(), hexColor(theme::midGrey).name());
}

QString darkAccentButton() {
    return inColors(
        QStringLiteral("QPushButton { background: @accent; color: @ground; border: none; border-radius: 5px; }"
                       "QPushButton:hover { background: @lighterAccent; }"
                       "QPushButton:focus { border: 1px solid @onDark; }"
                       "QPushButton:pressed { background: @darkerAccent; }"));
}

QString darkIconButton() {
    return inColors(QStringLiteral("QToolButton { border: none; background: transparent; }"
                                   "QToolButton:focus { border: 1px solid @accent; border-radius: 5px; }"));
}

QString darkRoundButton() {
    return inColors(QStringLiteral("QToolButton { border: none; border-radius: 10px; }"
                                   "QToolButton:hover { background: @hover; }"
                                   "QToolButton:focus { border: 1px solid @accent; }"));
}

QString darkPill() {
    return inColors(QStringLiteral("QPushButton { background: @menu; color: @accent; border: 1px solid @line;"
                                   " border-radius: 11px; padding: 2px 12px; }"
                                   "QPushButton:hover { border-color: @accent; }"));
}

QString darkLabel() { return inColors(QStringLiteral("color: @onDark;")); }

QString darkTitle() { return inColors(QStringLiteral("color: @title;")); }

QString darkMenu() {
    return inColors(
        QStringLiteral("QMenu { background: @menu; border: 1px solid @line; border-radius: 8px; padding: 5px; }"
                       "QMenu::item { color: @onDark; padding: 5px 24px 5px 14px; border-radius: 5px; }"
                       "QMenu::item:selected { background: @accent; color: @ground; }"
                       "QMenu::item:disabled { color: @disabled; background: transparent; }"
                       "QMenu::separator { height: 1px; background: @line; margin: 4px 8px; }"));
}

QString darkSlider() {
    return inColors(QStringLiteral(
        "QSlider::groove:horizontal { height: 4px; border-radius: 2px; background: @line; }"
        "QSlider::sub-page:horizontal { border-radius: 2px; background: @accent; }"
        "QSlider::handle:horizontal { width: 14px; margin: -5px 0; border-radius: 7px; background: @onDark; }"
        "QSlider::handle:horizontal:focus { background: @accent; }"));
}

QString darkTextBox() {
    return inColors(QStringLiteral("QPlainTextEdit { color: @onDark; background: transparent; border: none;"
                                   " selection-background-color: @accent; selection-color: black; }"));
}

} // namespace parlowen::styleSheets
