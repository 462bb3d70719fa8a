#include "LoginBrand.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>

namespace parlowen {

namespace {

constexpr std::uint32_t panelTop = 0x0F9D84;
constexpr std::uint32_t panelBottom = 0x06574A;
constexpr int panelMargin = 24;
constexpr int logoSize = 52;
constexpr int barWidth = 4;
constexpr int barGap = 6;
constexpr double waveHeight = 0.30; // of the panel
constexpr std::array loudness = {0.55, 0.9, 0.4, 1.0, 0.7, 0.3, 0.85, 0.5, 0.95, 0.6, 0.35, 0.75, 1.0};

QString inTheme(QString sheet) {
    const std::pair<const char*, QColor> names[] = {
        {"@text", hexColor(theme::darkText)},   {"@grey", hexColor(theme::midGrey)},
        {"@off", hexColor(theme::placeholder)}, {"@pale", hexColor(theme::pale)},
        {"@green", hexColor(theme::link)},      {"@lightGreen", hexColor(0x0C8A73)},
        {"@deepGreen", hexColor(0x086454)},     {"@secondary", hexColor(theme::secondary)}};
    for (const auto& [name, color] : names)
        sheet.replace(QLatin1String(name), color.name());
    return sheet;
}

} // namespace

LoginBrand::LoginBrand(QWidget* parent)
    : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    const int margin = static_cast<int>(panelMargin * fontScale());
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(static_cast<int>(8 * fontScale()));
    auto* logo = new QLabel(this);
    const int side = static_cast<int>(logoSize * fontScale());
    logo->setPixmap(namedImage(QStringLiteral("login_logo")).pixmap(QSize(side, side), devicePixelRatioF()));
    logo->setFixedHeight(side);
    column->addWidget(logo);
    column->addSpacing(static_cast<int>(6 * fontScale()));
    addLine(QStringLiteral("Parlowen"), 22, true);
    addLine(tr("听得清，答得稳"), 14, false);
    column->addSpacing(static_cast<int>(14 * fontScale()));
    for (const QString& point : {tr("实时转写对话"), tr("逐题给出思路"), tr("贴合你的简历")})
        addLine(QStringLiteral("·  ") + point, 12, false);
    column->addStretch();
}

void LoginBrand::addLine(const QString& text, int size, bool bold) {
    QLabel* line = makeLabel(Qt::white, bold, size, this);
    line->setText(text);
    layout()->addWidget(line);
}

// A voice that swells and fades, along the lower edge.
void LoginBrand::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient ground(0, 0, width() * 0.4, height());
    ground.setColorAt(0, hexColor(panelTop));
    ground.setColorAt(1, hexColor(panelBottom));
    painter.fillRect(rect(), ground);
    painter.setPen(Qt::NoPen);
    const double middle = height() * (1 - waveHeight / 2) - panelMargin * fontScale() / 2;
    const double step = (barWidth + barGap) * fontScale();
    const int bars = static_cast<int>(width() / step) + 1;
    for (int bar = 0; bar < bars; ++bar) {
        const double swell = std::pow(std::sin(bar * 0.29 + 0.2), 2);
        const double detail = loudness[static_cast<std::size_t>(bar) % loudness.size()];
        const double size = std::max(barWidth * fontScale(), height() * waveHeight * swell * detail);
        painter.setBrush(hexColor(theme::onDark, 0.14 + 0.26 * swell * detail));
        painter.drawRoundedRect(QRectF(bar * step, middle - size / 2, barWidth * fontScale(), size),
                                barWidth * fontScale() / 2, barWidth * fontScale() / 2);
    }
}

namespace loginStyle {

QString field() {
    return inTheme(QStringLiteral("QLineEdit { background: transparent; border: none; color: @text; padding: 0;"
                                  " selection-background-color: @green; selection-color: white; }"));
}

QString areaButton() {
    return inTheme(QStringLiteral("QPushButton { background: transparent; border: none; color: @text;"
                                  " text-align: left; padding: 0 22px 0 0; }"));
}

QString inlineButton() {
    return inTheme(
        QStringLiteral("QPushButton { background: @secondary; border: 1px solid @secondary; color: @deepGreen;"
                       " border-radius: 6px; padding: 4px 10px; }"
                       "QPushButton:hover { border-color: @green; }"
                       "QPushButton:focus { border-color: @green; }"
                       "QPushButton:disabled { background: @pale; border-color: @pale; color: @grey; }"));
}

QString link() {
    return inTheme(QStringLiteral("QPushButton { background: transparent; border: 1px solid transparent; color: @green;"
                                  " border-radius: 5px; padding: 2px 4px; }"
                                  "QPushButton:hover { text-decoration: underline; }"
                                  "QPushButton:focus { border-color: @green; }"));
}

QString primaryButton() {
    return inTheme(QStringLiteral("QPushButton { background: @green; color: white; border: 2px solid @green;"
                                  " border-radius: 9px; }"
                                  "QPushButton:hover { background: @lightGreen; border-color: @lightGreen; }"
                                  "QPushButton:pressed { background: @deepGreen; border-color: @deepGreen; }"
                                  "QPushButton:focus { border-color: @text; }"));
}

QString secondaryButton() {
    return inTheme(QStringLiteral("QPushButton { background: white; color: @green; border: 1px solid @green;"
                                  " border-radius: 9px; }"
                                  "QPushButton:hover { background: @secondary; }"
                                  "QPushButton:focus { border: 2px solid @text; }"));
}

} // namespace loginStyle

} // namespace parlowen

#include "moc_LoginBrand.cpp"
