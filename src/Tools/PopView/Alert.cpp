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
#include <QScreen>
#include <QStyle>

namespace parlowen {

namespace {

constexpr int iconSize = 56;
constexpr int signSize = 26;
constexpr int labelWidth = 220;
constexpr int subjectGap = 12; // between an alert and its subject
const QString alertName = QStringLiteral("alert");

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

QPoint placeClearOf(const QRect& subject, const QRect& wanted, const QRect& screen) {
    if (!wanted.intersects(subject))
        return wanted.topLeft();
    const int left = subject.left() - subjectGap - wanted.width();
    const int above = subject.top() - subjectGap - wanted.height();
    const QPoint corner = wanted.topLeft();
    const QPoint places[] = {{corner.x(), subject.bottom() + subjectGap},
                             {subject.right() + subjectGap, corner.y()},
                             {corner.x(), above},
                             {left, corner.y()}};
    QPoint best = corner;
    for (const QPoint& place : places) {
        const bool nearer = best == corner || (place - corner).manhattanLength() < (best - corner).manhattanLength();
        if (nearer && screen.contains(QRect(place, wanted.size())))
            best = place;
    }
    return best;
}

namespace {

void moveClearOf(const QWidget& subject, QMessageBox& alert) {
    // Its size and its place are known once it is shown, and a window manager heeds a place that it is shown with.
    alert.setAttribute(Qt::WA_DontShowOnScreen);
    alert.show();
    const QRect covered(subject.mapToGlobal(QPoint(0, 0)), subject.size());
    const QWidget& window = *subject.window(); // whose frame is known already
    const QRect frame = window.frameGeometry();
    const QMargins margins(window.geometry().left() - frame.left(), window.geometry().top() - frame.top(),
                           frame.right() - window.geometry().right(), frame.bottom() - window.geometry().bottom());
    const QPoint place = placeClearOf(covered, alert.geometry() + margins, alert.screen()->availableGeometry());
    alert.hide();
    alert.setAttribute(Qt::WA_DontShowOnScreen, false);
    alert.setGeometry({place + QPoint(margins.left(), margins.top()), alert.size()});
}

/// What the user did something with last: what an alert without a subject is most likely about.
const QWidget* actedOn() {
    const QWidget* window = QApplication::activeWindow();
    while (window != nullptr && window->objectName() == alertName && window->parentWidget() != nullptr)
        window = window->parentWidget()->window();
    return window == nullptr ? nullptr : window->focusWidget();
}

} // namespace

void showAlert(const QString& title, const QString& text, const QString& icon, QMessageBox::Icon style,
               const QWidget* subject) {
    if (subject == nullptr)
        subject = actedOn();
    // The window that it stands over may be closed meanwhile, and takes it along.
    const QPointer<QMessageBox> alert = new QMessageBox(QApplication::activeWindow());
    alert->setObjectName(alertName);
    alert->setWindowModality(Qt::ApplicationModal);
    alert->setPalette(lightPalette(Qt::white));
    alert->setFont(systemFont(14));
    alert->setTextFormat(Qt::PlainText);
    alert->setIcon(style);
    alert->setIconPixmap(alertIcon(icon, style));
    alert->setText(title);
    alert->setInformativeText(text);
    // Without a text there would be no width; a longer one has its own, which this would cut.
    auto* label = alert->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    if (label != nullptr && label->sizeHint().width() < labelWidth)
        label->setMinimumWidth(labelWidth);
    QPushButton* sure = alert->addButton(QMessageBox::tr("确定"), QMessageBox::AcceptRole);
    sure->setStyleSheet(styleSheets::button(hexColor(theme::darkText), hexColor(theme::accent), 8));
    sure->setMinimumSize(88, 32);
    sure->setIcon({});
    alert->setEscapeButton(sure);
    if (subject != nullptr && subject->isVisible())
        moveClearOf(*subject, *alert);
    alert->exec();
    delete alert;
}

} // namespace parlowen
