#include "Factories.h"

#include "Colors.h"
#include "SystemFont.h"

#include <QLabel>
#include <QPushButton>
#include <utility>

namespace parlowen {

namespace {

constexpr double cardCornerRadius = 8;
constexpr int cardFontSize = 14;

QString buttonStyle(const QColor& title, const QColor& ground, double radius) {
    return QStringLiteral(
               "QPushButton { color: %1; background: %2; border: none; border-radius: %3px; padding: 5px 12px; }"
               "QPushButton:hover { background: %4; } QPushButton:pressed { background: %5; }"
               "QPushButton:focus { border: 1px solid %6; }"
               "QPushButton:disabled { color: %7; }")
        .arg(title.name(QColor::HexArgb), ground.name(QColor::HexArgb))
        .arg(radius)
        .arg(ground.lighter(106).name(QColor::HexArgb), ground.darker(110).name(QColor::HexArgb),
             ground.darker(140).name(QColor::HexArgb), hexColor(theme::lightGrey).name());
}

} // namespace

QLabel* makeLabel(const QColor& textColor, bool bold, int size, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setFont(systemFont(size, bold ? QFont::Bold : QFont::Normal));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, textColor);
    label->setPalette(palette);
    return label;
}

QPushButton* makeButton(const QString& title, const QColor& titleColor, const QColor& background,
                        std::function<void()> action, double cornerRadius, int size, QWidget* parent) {
    auto* button = new QPushButton(title, parent);
    button->setFont(systemFont(size));
    button->setCursor(Qt::PointingHandCursor);
    button->setStyleSheet(buttonStyle(titleColor, background, cornerRadius));
    if (action)
        QObject::connect(button, &QPushButton::clicked, button, std::move(action));
    return button;
}

QPushButton* makeCardButton(const QString& title, const QColor& titleColor, const QColor& background, QWidget* parent) {
    return makeButton(title, titleColor, background, {}, cardCornerRadius, cardFontSize, parent);
}

} // namespace parlowen
