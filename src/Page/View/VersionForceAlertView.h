#pragma once

#include "BaseViewController.h"

#include <Network/Models.h>

#include <QAbstractButton>
#include <optional>

class QLabel;
class QScrollArea;
class QToolButton;

namespace parlowen {

/// A title, with an icon before it where that is shown, on a rounded ground of one colour. Main thread only.
class CustomButton : public QAbstractButton {
    Q_OBJECT
public:
    CustomButton(const QString& title, const QColor& ground, double cornerRadius, int fontSize, QWidget* parent);

    int tagIndex = 0;
    bool hasIcon = true; ///< whether the arrow is shown

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor ground_;
    double cornerRadius_;
};

/// Tells of a newer version with its notes, over the whole of the page that it is laid on. Main thread only.
class VersionForceAlertView : public BaseView {
    Q_OBJECT
public:
    using BaseView::BaseView;

    std::optional<CheckVersionModel> model;

    /// Shows what `model` says; does nothing without one. The prompt can be closed unless the newest version is the
    /// least one, too.
    void configure();
    /// Takes the prompt away.
    void didTap1();
    static void didTap(); ///< a click beside the card of a prompt that cannot be closed: nothing
    static void bgTap();  ///< a click on the card: a line in the log

    QToolButton* closeImg() const { return closeImg_; }
    QLabel* tip1Lab() const { return tip1Lab_; } ///< the notes
    CustomButton* sureBtn() const { return sureBtn_; }

protected:
    void buildStyle() override;
    void build() override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    void fit();

    QWidget* sharedView_ = nullptr; ///< the card
    QLabel* iconImg_ = nullptr;
    QToolButton* closeImg_ = nullptr;
    QLabel* tipLab_ = nullptr;
    QLabel* tip1Lab_ = nullptr;
    QScrollArea* notes_ = nullptr; ///< scrolls them where they are long
    CustomButton* sureBtn_ = nullptr;
    bool canClose_ = false;
};

} // namespace parlowen
