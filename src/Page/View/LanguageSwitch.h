#pragma once

#include <QPushButton>

namespace parlowen {

class Settings;

/// A small button that names the other language of windows, in that language. A press has every window speak it from
/// now on, and stores it. Main thread only.
class LanguageSwitch : public QPushButton {
    Q_OBJECT
public:
    /// The settings must outlive it.
    LanguageSwitch(Settings& settings, QWidget* parent);

protected:
    void changeEvent(QEvent* event) override;

private:
    void nameOtherLanguage();
    void speakOtherLanguage();

    Settings& settings_;
};

} // namespace parlowen
