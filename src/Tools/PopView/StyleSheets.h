#pragma once

#include <QColor>
#include <QString>

/// The application's style sheets, in the theme's colours. "Dark" ones are for widgets on a dark window.
namespace parlowen::styleSheets {

/// A push button in two colours of its own, without a border; the radius is in points.
QString button(const QColor& title, const QColor& ground, double radius);

/// A check box on a light ground.
QString checkBox();

/// A thin bar of a list or a page on a light ground.
QString lightScrollBar();

/// A push button in the accent colour.
QString darkAccentButton();
/// A tool button that is only its icon.
QString darkIconButton();
/// The same, with a round ground under the pointer.
QString darkRoundButton();
QString darkLabel();
/// A label of second rank.
QString darkTitle();
/// A small button over a text.
QString darkPill();
QString darkMenu();
QString darkSlider();
/// A plain text field without a border.
QString darkTextBox();

} // namespace parlowen::styleSheets
