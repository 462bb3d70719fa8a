#pragma once

#include <AVFoundation/CaptureSource.h>
#include <Tools/SessionSound.h>
#include <Tools/SessionStatus.h>

#include <QBasicTimer>
#include <QWidget>
#include <functional>
#include <memory>

class QLabel;
class QPushButton;

namespace parlowen {

class CommonTipView;
class PopUpButton;
class Settings;
class SoundCheckView;

/// The level of a sound as bars that light up, while it is told of.
class LevelMeter : public QWidget {
    Q_OBJECT
public:
    explicit LevelMeter(QWidget* parent);

    /// Shows it until null is given.
    void follow(std::shared_ptr<InputMeter> meter);
    int litBars() const { return litBars_; }
    static constexpr int bars = 12;

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    std::shared_ptr<InputMeter> meter_;
    QBasicTimer ticks_;
    int litBars_ = 0;
};

/// What a session would hear if it began now: the device, its level, which program of several, and a check of it all.
/// It listens while it is in sight, and only then. Main thread only.
class SoundStrip : public QWidget {
    Q_OBJECT
public:
    using Capture = std::function<CaptureSourceFactory(InputObserver)>;

    /// The settings must outlive it, and hold the program that is heard.
    SoundStrip(Settings& settings, QWidget* parent, Capture capture = inputCapture);
    ~SoundStrip() override;

    /// Whether the computer's sound is heard, or a microphone.
    void setSystem(bool system);
    /// What a session that starts now is to hear.
    SessionSound sound() const;
    /// Whether nothing can be heard as things stand.
    bool isDeaf() const { return isDeaf_; }
    /// A card that asks what to do about it when an interview is to start: to start all the same, or to hear the
    /// computer instead of a microphone, or else to check the sound. The caller owns it.
    CommonTipView* makeQuestion() const;
    /// Looks at the devices, plays a chirp of the computer's sound, and says in a card what came of it.
    void runCheck();
    /// Lets go of the sound until the strip comes into sight again.
    void stop();
    bool isListening() const { return source_ != nullptr; }

    LevelMeter* meter() const { return meter_; }
    PopUpButton* programPopup() const { return programs_; }
    QPushButton* checkButton() const { return check_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void build();
    void listen();
    void sayWhatIsHeard();
    void listPrograms();
    void programChosen(int index);

    Settings& settings_;
    const Capture capture_;
    SessionStatus status_;
    PlayingPrograms playing_;
    std::unique_ptr<CaptureSource> source_;
    bool system_ = false;
    bool isDeaf_ = false;
    LevelMeter* meter_;
    QString question_; ///< what is wrong, in a sentence
    QString advice_;
    QLabel* name_;
    PopUpButton* programs_;
    QPushButton* check_;
};

} // namespace parlowen
