#include "UpdateResumeView.h"

#include "CardButton.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>

namespace parlowen {

namespace {

constexpr int titleFont = 14;
constexpr int smallestTitleFont = 10;
constexpr int uploadIconSize = 22;
constexpr int barSteps = 10'000;
const QColor titleGrey(128, 128, 128);

QColor problemColor() { return palette::FlatUI::alizarin().darker(140); }

QString whatMayBeUploaded() {
    return UpdateResumeView::tr("文件格式支持(text，docx，pdf等)，简历如有更新可以重新上传覆盖");
}

QString barStyle() {
    return QStringLiteral("QProgressBar { background: white; border: none; border-radius: 3px; }"
                          "QProgressBar::chunk { background: %1; border-radius: 3px; }")
        .arg(hexColor(theme::accent).name());
}

} // namespace

void UpdateResumeView::build() {
    setPalette(lightPalette(Qt::white));
    setAcceptDrops(true);
    contentImgV = new CardButton(QStringLiteral("aiText_bg"), this);
    setFixedHeight(contentImgV->height());
    setMaximumWidth(contentImgV->width());
    resize(contentImgV->size());
    connect(contentImgV, &CardButton::clicked, this, &UpdateResumeView::updateTap);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 10, 16, 10);
    layout->setSpacing(6);
    buildFirstLine();
    auto* line = new QHBoxLayout;
    line->setSpacing(8);
    line->addStretch();
    line->addWidget(icon_);
    line->addWidget(updateLabel_);
    line->addStretch();
    layout->addLayout(line);
    title_ = makeLabel(titleGrey, false, titleFont, this);
    title_->setAlignment(Qt::AlignCenter);
    title_->setAttribute(Qt::WA_TransparentForMouseEvents);
    layout->addWidget(title_, 1);
    buildProgress();
    layout->addWidget(progress_, 1);
    setUpdateText(tr("上传简历"));
    showTitle();
}

void UpdateResumeView::buildFirstLine() {
    icon_ = new QLabel(this);
    const int side = static_cast<int>(uploadIconSize * fontScale());
    icon_->setPixmap(namedImage(QStringLiteral("up_word")).pixmap(QSize(side, side), devicePixelRatioF()));
    updateLabel_ = new ElidedLabel(this);
    updateLabel_->setFont(systemFont(16));
    setTextColor(*updateLabel_, Qt::black);
    for (QLabel* label : {icon_, static_cast<QLabel*>(updateLabel_)})
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
}

void UpdateResumeView::buildProgress() {
    progress_ = new QWidget(this);
    progressLabel_ = makeLabel(hexColor(theme::midGrey), false, 12, progress_);
    progressLabel_->setWordWrap(false);
    bar_ = new QProgressBar(progress_);
    bar_->setTextVisible(false);
    bar_->setFixedHeight(6);
    bar_->setStyleSheet(barStyle());
    bar_->setAccessibleName(tr("上传进度"));
    cancelButton_ = makeButton(
        tr("取消"), hexColor(theme::darkText), hexColor(theme::secondary),
        [this] {
            if (cancelBlock)
                cancelBlock();
        },
        6, 12, progress_);
    cancelButton_->setToolTip(QStringLiteral("Esc"));
    cancelButton_->setAutoDefault(true);
    auto* left = new QVBoxLayout;
    left->setSpacing(4);
    left->addStretch();
    left->addWidget(bar_);
    left->addWidget(progressLabel_);
    left->addStretch();
    auto* row = new QHBoxLayout(progress_);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    row->addLayout(left, 1);
    row->addWidget(cancelButton_);
}

void UpdateResumeView::setUpdateText(const QString& text) {
    updateLabel_->setText(text);
    contentImgV->setToolTip(text);
    contentImgV->setAccessibleName(text);
}

void UpdateResumeView::showProgress(const QString& text, double share, bool cancellable) {
    progressLabel_->setText(text);
    bar_->setRange(0, share < 0 ? 0 : barSteps); // without a range it only shows that something goes on
    bar_->setValue(static_cast<int>(share * barSteps));
    if (!cancellable && cancelButton_->hasFocus())
        contentImgV->setFocus(Qt::OtherFocusReason);
    cancelButton_->setVisible(cancellable);
    isBusy_ = true;
    showTitle();
}

void UpdateResumeView::hideProgress() {
    if (cancelButton_->hasFocus())
        contentImgV->setFocus(Qt::OtherFocusReason);
    isBusy_ = false;
    showTitle();
}

void UpdateResumeView::setNotice(Notice kind, const QString& text) {
    noticeKind_ = kind;
    notice_ = text;
    isNoticeOfDrag_ = false;
    showTitle();
}

/// What is dragged comes first, then what is to be said.
void UpdateResumeView::showTitle() {
    const bool isProblem = dragProblem_ ? !dragProblem_->isEmpty() : noticeKind_ == Notice::problem;
    QString text = noticeKind_ == Notice::none ? whatMayBeUploaded() : notice_;
    if (dragProblem_)
        text = isProblem ? *dragProblem_ : tr("松开即可上传");
    const bool isPlain = !dragProblem_ && noticeKind_ == Notice::none;
    setTextColor(*title_, isProblem ? problemColor() : isPlain ? titleGrey : hexColor(theme::link));
    title_->setText(text);
    title_->setToolTip(text);
    fitTitle();
    contentImgV->setAccessibleDescription(text);
    title_->setVisible(dragProblem_ || !isBusy_);
    progress_->setVisible(title_->isHidden());
    contentImgV->setOutline(!dragProblem_ ? QColor() : isProblem ? problemColor() : hexColor(theme::accent));
}

/// A long reason is written smaller, so that all of it is there.
void UpdateResumeView::fitTitle() {
    const QMargins margins = layout()->contentsMargins();
    const int width = this->width() - margins.left() - margins.right();
    const int height = this->height() - margins.top() - margins.bottom() - layout()->spacing() -
                       std::max(icon_->sizeHint().height(), updateLabel_->sizeHint().height());
    for (int size = titleFont; size >= smallestTitleFont; --size) {
        title_->setFont(systemFont(size));
        if (title_->heightForWidth(width) <= height)
            return;
    }
}

void UpdateResumeView::updateTap() {
    if (updateBlock)
        updateBlock();
}

void UpdateResumeView::resizeEvent(QResizeEvent* event) {
    BaseView::resizeEvent(event);
    contentImgV->setGeometry(rect());
    fitTitle();
}

void UpdateResumeView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && isBusy_ && !cancelButton_->isHidden())
        cancelButton_->click();
    else
        BaseView::keyPressEvent(event);
}

void UpdateResumeView::dragEnterEvent(QDragEnterEvent* event) {
    if (!event->mimeData()->hasUrls()) {
        event->ignore();
        return;
    }
    dragProblem_ = dropProblem ? dropProblem(event->mimeData()->urls()) : QString();
    showTitle();
    event->setDropAction(Qt::CopyAction);
    event->accept(); // also of what is not taken: only then it is told that it leaves
}

void UpdateResumeView::dragMoveEvent(QDragMoveEvent* event) {
    event->setDropAction(Qt::CopyAction);
    event->setAccepted(dragProblem_ && dragProblem_->isEmpty());
}

void UpdateResumeView::dragLeaveEvent(QDragLeaveEvent*) { endDrag(); }

void UpdateResumeView::dropEvent(QDropEvent* event) {
    const QList<QUrl> files = event->mimeData()->urls();
    const bool isTaken = dragProblem_ && dragProblem_->isEmpty();
    endDrag();
    event->setDropAction(Qt::CopyAction);
    event->setAccepted(isTaken);
    if (!isTaken)
        return;
    contentImgV->setFocus(Qt::OtherFocusReason); // as after a click
    if (dropBlock)
        dropBlock(files.front());
}

/// Why something was not taken stays to be read.
void UpdateResumeView::endDrag() {
    const QString problem = dragProblem_.value_or(QString());
    dragProblem_.reset();
    if (!problem.isEmpty() || isNoticeOfDrag_)
        setNotice(problem.isEmpty() ? Notice::none : Notice::problem, problem);
    else
        showTitle(); // with what came of the last upload
    isNoticeOfDrag_ = !problem.isEmpty();
}

} // namespace parlowen

#include "moc_UpdateResumeView.cpp"
