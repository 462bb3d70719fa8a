#pragma once

#include "BaseViewController.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

class QLabel;
class QProgressBar;
class QPushButton;

namespace parlowen {

class CardButton;
class ElidedLabel;

/// The card of the résumé: which file the account holds, how an upload goes, what came of it. A click, a key or a file
/// that is dragged onto it asks for an upload. It shows what it is told. Main thread only.
class UpdateResumeView : public BaseView {
    Q_OBJECT
public:
    using BaseView::BaseView;

    QSize sizeHint() const override { return maximumSize(); }

    std::function<void()> updateBlock;
    std::function<void()> cancelBlock; ///< the upload on show is to end: its button, or Escape
    /// Why what is being dragged cannot be taken; empty when it can.
    std::function<QString(const QList<QUrl>&)> dropProblem;
    std::function<void(const QUrl&)> dropBlock; ///< hears of a file that has no problem

    QLabel* icon() const { return icon_; }
    ElidedLabel* updateLabel() const { return updateLabel_; } ///< "上传简历" at first
    QLabel* title() const { return title_; }                  ///< what may be uploaded, or the notice

    /// What the card's first line says.
    void setUpdateText(const QString& text);
    /// A running upload: what it does, and how much is done, 0 to 1, or negative while that is not known. It may be
    /// cancelled or not.
    void showProgress(const QString& text, double share, bool cancellable);
    void hideProgress();
    enum class Notice { none, success, problem };
    /// Says how the last upload ended, or why there is none, in the place of what may be uploaded.
    void setNotice(Notice kind, const QString& text = {});

protected:
    void buildStyle() override {} // its picture is its ground
    void build() override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void updateTap();
    void buildFirstLine();
    void buildProgress();
    void showTitle();
    void fitTitle();
    void endDrag();

    CardButton* contentImgV = nullptr;
    QLabel* icon_ = nullptr;
    ElidedLabel* updateLabel_ = nullptr;
    QLabel* title_ = nullptr;
    QWidget* progress_ = nullptr;
    QLabel* progressLabel_ = nullptr;
    QProgressBar* bar_ = nullptr;
    QPushButton* cancelButton_ = nullptr;
    bool isBusy_ = false;
    Notice noticeKind_ = Notice::none;
    QString notice_;
    bool isNoticeOfDrag_ = false;
    std::optional<QString> dragProblem_; ///< of what is over the card now
};

} // namespace parlowen
