#pragma once

#include "SoundStrip.h"

#include <QWidget>
#include <optional>

class QBoxLayout;
class QGridLayout;
class QLabel;
class QPushButton;
class QScrollArea;

namespace parlowen {

class ChoiceBox;
class LanguageNotice;
class PersonalNotice;
class PopUpButton;
class Settings;
struct LanguageListModel;

/// What stands on the setup page, row by row, each where it belongs: the choices, which scroll where there is little
/// room, and the start, which stays in sight. It shows what it is told and decides nothing. Main thread only.
class SetupForm : public QWidget {
    Q_OBJECT
public:
    enum Tag { styleTag = 0, modeTag = 1, spokenTag = 1, targetTag = 2 }; ///< of the pop-up buttons, of the boxes

    /// The settings must outlive it.
    SetupForm(Settings& settings, SoundStrip::Capture capture, QWidget* parent = nullptr);

    /// Whether the sound of the computer is heard, or a microphone's.
    void showSource(bool system);
    /// The languages; none is shown as an empty text. Without a translation its row is not there.
    void showLanguages(const std::optional<LanguageListModel>& spoken, const std::optional<LanguageListModel>& target,
                       bool translates);
    /// Whether a start waits for something.
    void showWaiting(bool waits);

    QLabel* voiceLabel() const { return voiceLabel_; }
    /// Leads to where the other source is chosen.
    QPushButton* sourceLink() const { return sourceLink_; }
    SoundStrip* soundStrip() const { return soundStrip_; }
    PopUpButton* stylePopup() const { return stylePopup_; }
    PopUpButton* modePopup() const { return modePopup_; }
    ChoiceBox* lelfLanguageLabel() const { return lelfLanguageLabel_; }
    ChoiceBox* rightLanguageLabel() const { return rightLanguageLabel_; }
    QLabel* outputLabel() const { return outputLabel_; }
    LanguageNotice* spokenNotice() const { return spokenNotice_; }
    LanguageNotice* targetNotice() const { return targetNotice_; }
    QPushButton* startButton() const { return startButton_; }
    /// Hidden until its owner knows what it is for.
    QPushButton* rehearseButton() const { return rehearseButton_; }
    PersonalNotice* personalNotice() const { return personal_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void layRows();
    void layStart();
    void setNarrow(bool narrow);
    void place();

    QWidget* rows_;  ///< what scrolls
    QWidget* start_; ///< what stays
    QScrollArea* scroll_ = nullptr;
    bool isNarrow_ = false; ///< what stands side by side elsewhere then goes below each other

    QLabel* voiceLabel_;
    QLabel* timeLabel_;
    QPushButton* sourceLink_;
    QPushButton* rehearseButton_;
    SoundStrip* soundStrip_;
    PopUpButton* stylePopup_;
    PopUpButton* modePopup_;
    ChoiceBox* lelfLanguageLabel_;
    LanguageNotice* spokenNotice_;
    QLabel* outputLabel_;
    ChoiceBox* rightLanguageLabel_;
    LanguageNotice* targetNotice_;
    QPushButton* startButton_;
    PersonalNotice* personal_;
    QGridLayout* grid_;
    QBoxLayout* source_;
};

} // namespace parlowen
