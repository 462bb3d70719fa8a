#include "LanguageSwitch.h"

#include <Foundation/ChosenLanguage.h>
#include <Network/Settings.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Translation.h>

#include <QEvent>

namespace parlowen {

namespace {

Language otherLanguage() { return windowLanguage() == Language::Chinese ? Language::English : Language::Chinese; }

QString switchLook() {
    return QStringLiteral("QPushButton { background: transparent; border: 1px solid transparent; color: %1;"
                          " border-radius: 5px; padding: 2px 6px; }"
                          "QPushButton:hover { text-decoration: underline; } QPushButton:focus { border-color: %1; }")
        .arg(hexColor(theme::link).name());
}

} // namespace

LanguageSwitch::LanguageSwitch(Settings& settings, QWidget* parent)
    : QPushButton(parent)
    , settings_(settings) {
    setFont(systemFont(13));
    setStyleSheet(switchLook());
    setCursor(Qt::PointingHandCursor);
    setAutoDefault(true);
    nameOtherLanguage();
    connect(this, &QPushButton::clicked, this, &LanguageSwitch::speakOtherLanguage);
}

void LanguageSwitch::nameOtherLanguage() {
    setText(Phrase{"English", "中文"}.in(otherLanguage()));
    setToolTip(Phrase{"Speak English", "改用中文"}.in(otherLanguage()));
}

void LanguageSwitch::speakOtherLanguage() {
    const Language language = otherLanguage();
    settings_.setUiLanguage(language);
    chooseLanguage(language);
    translateWindows();
}

void LanguageSwitch::changeEvent(QEvent* event) {
    QPushButton::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        nameOtherLanguage();
}

} // namespace parlowen

#include "moc_LanguageSwitch.cpp"
