#include "Alert.h"

#include "Colors.h"
#include "Factories.h"
#include "StyleSheets.h"
#include "SystemFont.h"

#include <QApplication>
#include <QLabel>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QStyle>

namespace parlowen {

namespace {

constexpr int iconSize = 56;
constexpr int signSize = 26;
constexpr int labelWidth = 220;

QPixmap alertIcon(const QString& name, QMessageBox::Icon style) {
    const QIcon caution = QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning);
    QPixmap picture = (name.isEmpty() ? caution : namedImage(name)).pixmap(QSize(iconSize, iconSize));
    if (style != QMessageBox::Critical)
        return picture;
    QPainter painter(&picture);
    const QIcon sign = QApplication::style()->standardIcon(QStyle::SP_MessageBoxCritical);
    sign.paint(&painter, QRect(iconSize - signSize, iconSize - signSize, signSize, signSize));
    return picture;
}

} // namespace

void showAlert(const QString& title, const QString& text, const QString& icon, QMessageBox::Icon style) {
    // The window that it stands over may be closed meanwhile, and takes it along.
    const QPointer<QMessageBox> alert = new QMessageBox(QApplication::activeWindow());
    alert->setObjectName(QStringLiteral("alert"));
    alert->setWindowModality(Qt::ApplicationModal);
    alert->setPalette(lightPalette(Qt::white));
    alert->setFont(systemFont(14));
    alert->setTextFormat(Qt::PlainText);
    alert->setIcon(style);
    alert->setIconPixmap(alertIcon(icon, style));
    alert->setText(title);
    alert->setInformativeText(text);
    if (auto* label = alert->findChild<QLabel*>(QStringLiteral("qt_msgbox_label")))
        label->setMinimumWidth(labelWidth); // without a text there would be none
    QPushButton* sure = alert->addButton(QStringLiteral("确定"), QMessageBox::AcceptRole);
    sure->setStyleSheet(styleSheets::button(hexColor(theme::darkText), hexColor(theme::accent), 8));
    sure->setMinimumSize(88, 32);
    sure->setIcon({});
    alert->setEscapeButton(sure);
    alert->exec();
    delete alert;
}

} // namespace parlowen
