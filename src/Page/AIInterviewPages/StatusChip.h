#pragma once

#include <Page/View/KeyFocusButton.h>
#include <Tools/SessionStatusText.h>

#include <QBasicTimer>
#include <QPointer>
#include <vector>

namespace parlowen {

class StatusDetails;

/// What the session hears and how its recognition keeps up, in one line beside the clock: a mark for how serious it is,
/// a few words, and the level of the sound, which moves while it can be seen. It says what is so for as long as it is
/// so. A click, Enter or Space shows the details. Main thread only.
class StatusChip : public KeyFocusButton {
    Q_OBJECT
public:
    /// The status outlives the chip.
    StatusChip(SessionStatus& status, QWidget* parent);

    const SessionStatusText& words() const { return words_; }
    /// One more sentence for the details, which stays.
    void addNote(const BilingualText& sentence);
    /// Whether the level is being looked at.
    bool isMetering() const { return metering_.isActive(); }
    /// How many of the meter's bars are lit.
    int litBars() const { return litBars_; }
    static constexpr int bars = 5;

    /// The room that its line takes at most.
    QSize sizeHint() const override;

Q_SIGNALS:
    /// It wants another width.
    void widthChanged();

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refresh();
    void meterWhileSeen();
    void showDetails();
    QRect meterRect() const;
    void drawMark(QPainter& painter) const;
    void drawMeter(QPainter& painter) const;

    SessionStatus& status_;
    SessionStatusText words_;
    std::vector<BilingualText> notes_;
    QBasicTimer metering_;
    int litBars_ = 0;
    QPointer<StatusDetails> details_;
};

} // namespace parlowen
