#include "Factories.h"

#include "StyleSheets.h"
#include "SystemFont.h"

#include <QLabel>
#include <QPushButton>
#include <utility>

namespace parlowen {

namespace {

constexpr double cardCornerRadius = 8;
constexpr int cardFontSize = 14;

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
    button->setStyleSheet(styleSheets::button(titleColor, background, cornerRadius));
    if (action)
        QObject::connect(button, &QPushButton::clicked, button, std::move(action));
    return button;
}

QPushButton* makeCardButton(const QString& title, const QColor& titleColor, const QColor& background, QWidget* parent) {
    return makeButton(title, titleColor, background, {}, cardCornerRadius, cardFontSize, parent);
}

} // namespace parlowen
