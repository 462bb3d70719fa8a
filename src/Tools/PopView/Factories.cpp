#include "Factories.h"

#include "StyleSheets.h"
#include "SystemFont.h"

#include <Foundation/ConsoleLog.h>

#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSet>
#include <utility>

namespace parlowen {

namespace {

constexpr double cardCornerRadius = 8;
constexpr int cardFontSize = 14;

QString assetFile(const QString& name) { return QStringLiteral(":/icons/%1.svg").arg(name); }

} // namespace

QLabel* makeLabel(const QColor& textColor, bool bold, int size, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setFont(systemFont(size, bold ? QFont::Bold : QFont::Normal));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    setTextColor(*label, textColor);
    return label;
}

void setTextColor(QLabel& label, const QColor& color) {
    QPalette palette = label.palette();
    palette.setColor(QPalette::WindowText, color);
    label.setPalette(palette);
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

QIcon namedImage(const QString& name) {
    if (QFile::exists(assetFile(name)))
        return QIcon(assetFile(name));
    static QSet<QString> missing;
    if (!missing.contains(name)) {
        missing.insert(name);
        consoleLog(QStringLiteral("⚠️ 没有名为 %1 的图片").arg(name));
    }
    return QIcon(assetFile(QStringLiteral("missing")));
}

} // namespace parlowen
