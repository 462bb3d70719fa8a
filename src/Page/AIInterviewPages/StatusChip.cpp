#include "StatusChip.h"

#include "StatusDetails.h"

#include <Foundation/ChosenLanguage.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QAccessible>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QTimerEvent>
#include <algorithm>
#include <cmath>
#include <utility>

namespace parlowen {

namespace {

using Severity = SessionStatusText::Severity;

constexpr int endRoom = 10; // from the chip's end to what is in it
constexpr int inner = 7;    // between mark, words and meter
constexpr int mark = 8;     // the mark's size
constexpr int aboveText = 4;
constexpr int barWidth = 2;
constexpr int barGap = 2;
constexpr int highestBar = 12;
constexpr int lowestBar = 4;
constexpr int meterWidth = StatusChip::bars * (barWidth + barGap) - barGap;
constexpr int meterMilliseconds = 80;
constexpr int leastWords = 24; // narrower than this, words are left out

QColor markColor(Severity severity) {
    switch (severity) {
    case Severity::Plain:
        break;
    case Severity::Attention:
        return hexColor(theme::attention);
    case Severity::Problem:
        return hexColor(theme::problem);
    }
    return hexColor(theme::accent);
}

} // namespace

StatusChip::StatusChip(SessionStatus& status, QWidget* parent)
    : KeyFocusButton(parent)
    , status_(status) {
    setObjectName(QStringLiteral("statusChip"));
    setFont(systemFont(12));
    setFocusPolicy(Qt::TabFocus);
    connect(&status_, &SessionStatus::inputChanged, this, &StatusChip::refresh);
    connect(&status_, &SessionStatus::recognitionChanged, this, &StatusChip::refresh);
    connect(this, &QAbstractButton::clicked, this, &StatusChip::showDetails);
    refresh();
}

void StatusChip::addNote(const BilingualText& sentence) {
    notes_.push_back(sentence);
    refresh();
}

void StatusChip::refresh() {
    SessionStatusText words = sessionStatusText(status_.input(), status_.recognition(), windowLanguage());
    for (const BilingualText& note : notes_)
        words.details << note.in(windowLanguage());
    words.text = headline(words, status_.input());
    if (words == words_)
        return;
    const bool isOtherSeverity = words.severity != words_.severity;
    words_ = std::move(words);
    setText(words_.text);
    setToolTip(words_.text);
    setAccessibleName(words_.text);
    setAccessibleDescription((words_.details + words_.advice).join(u' '));
    if (isOtherSeverity) {
        QAccessibleEvent announced(this, QAccessible::Alert);
        QAccessible::updateAccessibility(&announced);
    }
    if (details_)
        details_->say(words_);
    meterWhileSeen();
    update();
    Q_EMIT widthChanged();
}

void StatusChip::changeEvent(QEvent* event) {
    KeyFocusButton::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        refresh();
}

void StatusChip::showDetails() {
    if (!details_) {
        details_ = new StatusDetails(window());
        connect(details_, &StatusDetails::outputChosen, &status_, &SessionStatus::chooseOutput);
    }
    details_->say(words_);
    details_->popUpUnder(*this);
}

void StatusChip::showEvent(QShowEvent* event) {
    window()->installEventFilter(this);
    meterWhileSeen();
    KeyFocusButton::showEvent(event);
}

void StatusChip::hideEvent(QHideEvent* event) {
    meterWhileSeen();
    KeyFocusButton::hideEvent(event);
}

bool StatusChip::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::WindowStateChange && watched == window())
        meterWhileSeen();
    return QAbstractButton::eventFilter(watched, event);
}

void StatusChip::meterWhileSeen() {
    const bool wanted = words_.hears && isVisible() && !window()->isMinimized();
    if (wanted == isMetering())
        return;
    status_.meter()->take(); // what was loud before nobody looked
    litBars_ = 0;
    if (wanted)
        metering_.start(meterMilliseconds, this);
    else
        metering_.stop();
}

void StatusChip::timerEvent(QTimerEvent* event) {
    if (event->timerId() != metering_.timerId()) {
        KeyFocusButton::timerEvent(event);
        return;
    }
    // It rises at once and falls bar by bar.
    const int lit = std::max(static_cast<int>(std::lround(meterShare(status_.meter()->take()) * bars)), litBars_ - 1);
    if (std::exchange(litBars_, lit) != lit)
        update(meterRect());
}

QSize StatusChip::sizeHint() const {
    const int words = fontMetrics().horizontalAdvance(text()) + 2; // it is rounded, and elided unrounded
    return {endRoom + mark + inner + words + (words_.hears ? inner + meterWidth : 0) + endRoom,
            fontMetrics().height() + 2 * aboveText};
}

QRect StatusChip::meterRect() const {
    return {width() - endRoom - meterWidth, (height() - highestBar) / 2, meterWidth, highestBar};
}

void StatusChip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool isPlain = words_.severity == Severity::Plain;
    QColor edge = isPlain ? hexColor(theme::onDark, theme::windowEdge) : markColor(words_.severity);
    if (hasFocus())
        edge = hexColor(theme::accent);
    painter.setPen(QPen(edge, 1));
    painter.setBrush(hexColor(theme::darkMenu, theme::chipGround));
    const QRectF pill = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.drawRoundedRect(pill, pill.height() / 2, pill.height() / 2);
    if (underMouse() || isDown()) {
        painter.setBrush(hexColor(theme::onDark, theme::hairline));
        painter.drawRoundedRect(pill, pill.height() / 2, pill.height() / 2);
    }
    drawMark(painter);
    const int left = endRoom + mark + inner;
    const int right = words_.hears ? meterRect().left() - inner : width() - endRoom;
    if (right - left >= leastWords) {
        painter.setPen(hexColor(theme::onDark));
        painter.drawText(QRect(left, 0, right - left, height()), Qt::AlignVCenter | Qt::TextSingleLine,
                         fontMetrics().elidedText(text(), Qt::ElideRight, right - left));
    }
    if (words_.hears)
        drawMeter(painter);
}

/// Severities differ in shape too: a ring while nothing is heard yet, else a dot, a triangle, a square.
void StatusChip::drawMark(QPainter& painter) const {
    const QRectF area(endRoom, (height() - mark) / 2.0, mark, mark);
    const QColor color = markColor(words_.severity);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    if (words_.severity == Severity::Problem) {
        painter.drawRoundedRect(area, 2, 2);
    } else if (words_.severity == Severity::Attention) {
        QPainterPath triangle(QPointF(area.center().x(), area.top()));
        triangle.lineTo(area.bottomRight());
        triangle.lineTo(area.bottomLeft());
        triangle.closeSubpath();
        painter.setPen(QPen(color, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(triangle);
    } else if (words_.hears) {
        painter.drawEllipse(area);
    } else {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(color, 1.5));
        painter.drawEllipse(area.adjusted(0.75, 0.75, -0.75, -0.75));
    }
}

void StatusChip::drawMeter(QPainter& painter) const {
    const QRect area = meterRect();
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < bars; ++i) {
        const int barHeight = lowestBar + (highestBar - lowestBar) * i / (bars - 1);
        painter.setBrush(i < litBars_ ? hexColor(theme::accent) : hexColor(theme::onDark, theme::unlit));
        painter.drawRoundedRect(
            QRect(area.left() + i * (barWidth + barGap), area.bottom() + 1 - barHeight, barWidth, barHeight), 1, 1);
    }
}

} // namespace parlowen

#include "moc_StatusChip.cpp"
