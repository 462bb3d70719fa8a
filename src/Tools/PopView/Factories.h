#pragma once

#include <QColor>
#include <QIcon>
#include <QString>
#include <functional>

class QLabel;
class QPushButton;
class QWidget;

namespace parlowen {

/// An empty label in the system font of `size` points that wraps its text to any number of lines. The parent owns it.
QLabel* makeLabel(const QColor& textColor, bool bold, int size, QWidget* parent);

void setTextColor(QLabel& label, const QColor& color);

/// A push button on a ground of its own, without a border. The parent owns it.
QPushButton* makeButton(const QString& title, const QColor& titleColor, const QColor& background,
                        std::function<void()> action, double cornerRadius, int size, QWidget* parent);

/// The picture of that name, drawn anew for every size and scale. A name without a picture gets a visible placeholder
/// and, the first time, a line in the console log.
QIcon namedImage(const QString& name);

/// A card's button: corner radius 8 and no action yet. The parent owns it.
QPushButton* makeCardButton(const QString& title, const QColor& titleColor, const QColor& background, QWidget* parent);

} // namespace parlowen
