#pragma once

#include <Page/View/BaseViewController.h>
#include <Tools/AudioCheck.h>

class QBoxLayout;
class QLabel;
class QPushButton;
class QScrollArea;

namespace parlowen {

/// A card that says what the sound check finds, line by line, to be shown in a `MYCenterPopView`. Main thread only.
class SoundCheckView : public BaseView {
    Q_OBJECT
public:
    explicit SoundCheckView(QWidget* parent);

    /// Looks at the devices and says what it finds; of the computer's sound it then plays a chirp, listens for it and
    /// says what came of it.
    void run(bool systemSound);

    QSize sizeHint() const override;

protected:
    void buildStyle() override;
    void build() override;
    void paintEvent(QPaintEvent* event) override;

private:
    void add(const AudioCheck::Finding& finding);

    QScrollArea* scroll_ = nullptr;
    QBoxLayout* lines_ = nullptr;
    QLabel* progress_ = nullptr; ///< what is under way, or how it came out
    QPushButton* closeButton_ = nullptr;
};

} // namespace parlowen
