#pragma once

#include "BaseViewController.h"
#include "KeyFocusButton.h"

#include <array>
#include <functional>
#include <optional>

class QLabel;
class QPushButton;

namespace parlowen {

/// One of the interview types to choose from: a picture, a title, a subtitle that may be empty, and a mark while it is
/// selected. A click, Space or Enter reports it and selects nothing by itself; the arrow keys go to its neighbours, and
/// choose them where it is the one that is selected.
class InterviewContentView : public KeyFocusButton {
    Q_OBJECT
public:
    explicit InterviewContentView(QWidget* parent);

    /// The picture goes by its name (`namedImage`).
    void configure(const QString& image, const QString& title, const QString& subtitle, bool selected);
    bool isSelected() const { return isChecked(); }
    QLabel* titleLabel() const { return titleLabel_; }
    QLabel* subtitleLabel() const { return subtitleLabel_; }
    QLabel* selectImageView() const { return selectImageView_; }

    std::function<void()> clickHandler;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void nextCheckState() override {}

private:
    void handleClick();

    QLabel* imageView;
    QLabel* titleLabel_;
    QLabel* subtitleLabel_;
    QLabel* selectImageView_;
};

/// The card that asks for the type of interviews: 1 domestic, 2 foreign, 3 either. To be shown in a `MYCenterPopView`,
/// which both of its buttons close. Main thread only.
class InterviewTypeView : public BaseView {
    Q_OBJECT
public:
    explicit InterviewTypeView(QWidget* parent);

    std::optional<qint64> type; ///< the option that is selected from the next refresh on
    std::function<void(qint64 type)> selectInterviewBlock;

    /// Shows which option `type` says.
    void refresh();
    void skipTap();
    /// Tells the block of the selected type, if there is one, and closes.
    void sureTap();

    void setCornerRadius(double radius);
    std::array<InterviewContentView*, 3> options() const {
        return {ai1view, ai2view, ai3view};
    } ///< of the types 1 to 3
    QPushButton* skipButton() const { return skipButton_; }
    QPushButton* sureButton() const { return sureButton_; }

    /// What the top bar calls that type; none counts as either.
    static QString buttonTitle(const std::optional<qint64>& type);

protected:
    void buildStyle() override;
    void build() override;
    void paintEvent(QPaintEvent* event) override;

private:
    QLayout* buildButtons();

    double cornerRadius_ = 16;
    QLabel* typeLabel_ = nullptr;
    QLabel* contentLabel_ = nullptr;
    InterviewContentView* ai1view = nullptr;
    InterviewContentView* ai2view = nullptr;
    InterviewContentView* ai3view = nullptr;
    QPushButton* skipButton_ = nullptr;
    QPushButton* sureButton_ = nullptr;
};

} // namespace parlowen
