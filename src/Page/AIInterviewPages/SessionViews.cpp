#include "AIInterviewDetailController.h"
#include "AnswersModel.h"
#include "QuestionBox.h"
#include "StatusChip.h"
#include "TranscriptModel.h"
#include "WindowLevel.h"

#include <Page/View/ListFrame.h>
#include <Page/View/ReadingList.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/MouseTracker.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <algorithm>

/// The views of the session page and how the lists scroll.
namespace parlowen {

namespace {

constexpr int frameMargin = 2; // a frame is so much larger than what it holds on every side

QLabel* makeLabel(QWidget* parent, const QFont& font, const QColor& color) {
    auto* label = new ElidedLabel(parent);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    return label;
}

} // namespace

void AIInterviewDetailController::buildUserInterface() {
    buildHeader();
    buildLists();
    buildQuestionBox();
    buildReading();
}

void AIInterviewDetailController::buildHeader() {
    timeLabel_ = makeLabel(this, systemFont(14), hexColor(theme::onDark));
    timeLabel_->setObjectName(QStringLiteral("timeLabel"));
    timeLabel_->setText(QStringLiteral("00:00:00"));

    if (services_.status != nullptr) {
        status_ = new StatusChip(*services_.status, this);
        connect(status_, &StatusChip::widthChanged, this, [this] { status_->setGeometry(currentLayout().status); });
    }

    topImg_ = new QToolButton(this);
    topImg_->setObjectName(QStringLiteral("topImg"));
    topImg_->setProperty("tag", 9);
    topImg_->setStyleSheet(styleSheets::darkIconButton());
    topImg_->setFocusPolicy(Qt::TabFocus);
    topImg_->setCursor(Qt::PointingHandCursor);
    connect(topImg_, &QToolButton::clicked, this, &AIInterviewDetailController::topupDidTap);

    tipLab_ = makeLabel(this, systemFont(smallFontSize), hexColor(theme::tip));
    tipLab_->setObjectName(QStringLiteral("tipLab"));
    tipLab_->setAlignment(Qt::AlignCenter);
    tipLab_->setAttribute(Qt::WA_TransparentForMouseEvents);
    tipLab_->hide();
    MouseTracker::attach(topImg_, [this](MouseMoveEvent event) { hoverPin(event == MouseMoveEvent::entered); });
    showPinState();
}

void AIInterviewDetailController::buildLists() {
    transcript_->setFontSize(fontSize_);
    answers_->setFontSize(fontSize_);
    topView_ = makeView<ListFrame>(this);
    bottomView_ = makeView<ListFrame>(this);
    topTableView_ = new ReadingList(new AiInterviewCellMac, this);
    topTableView_->setObjectName(QStringLiteral("topTableView"));
    topTableView_->setAccessibleName(QStringLiteral("面试记录"));
    topTableView_->setModel(transcript_);
    bottomTableView_ = new ReadingList(new AiInterviewAiCellMac, this);
    bottomTableView_->setObjectName(QStringLiteral("bottomTableView"));
    bottomTableView_->setAccessibleName(QStringLiteral("AI回答"));
    bottomTableView_->setModel(answers_);
    topTableView_->setPlaceholder(QStringLiteral("对话的文字会显示在这里"));
    bottomTableView_->setPlaceholder(isManual() ? QStringLiteral("点“回答”或按 Ctrl+Enter，AI 的回答会显示在这里")
                                                : QStringLiteral("AI 对每个问题的回答会显示在这里"));
    for (ReadingList* list : {topTableView_, bottomTableView_})
        list->setNominalRowHeight(TextCell::nominalHeight(systemFont(fontSize_)));
    connect(topTableView_, &ReadingList::focusShown, topView_, &ListFrame::setHighlighted);
    connect(bottomTableView_, &ReadingList::focusShown, bottomView_, &ListFrame::setHighlighted);
}

void AIInterviewDetailController::buildQuestionBox() {
    textView_ = new QuestionBox(this);
    textView_->setObjectName(QStringLiteral("textView"));
    textView_->setVisible(isManual());
    aiResponseButton_ = new QPushButton(QStringLiteral("回答"), this);
    aiResponseButton_->setObjectName(QStringLiteral("aiResponseButton"));
    aiResponseButton_->setFont(systemFont(14));
    aiResponseButton_->setFocusPolicy(Qt::TabFocus);
    aiResponseButton_->setCursor(Qt::PointingHandCursor);
    aiResponseButton_->setStyleSheet(styleSheets::darkAccentButton());
    aiResponseButton_->setToolTip(QStringLiteral("Ctrl+Enter"));
    aiResponseButton_->setVisible(isManual());
    connect(aiResponseButton_, &QPushButton::clicked, this, &AIInterviewDetailController::aiResponseTapped);
}

SessionLayout AIInterviewDetailController::currentLayout() const {
    SessionLayout::Header header;
    header.clockWidth = timeLabel_->sizeHint().width();
    header.titleWidth = titleWidth_;
    header.status = status_ == nullptr ? QSize() : status_->sizeHint();
    header.height = SessionLayout::headerFor(std::max(timeLabel_->sizeHint().height(), header.status.height()),
                                             tipLab_->sizeHint().height());
    return SessionLayout::of(size(), isManual(), header);
}

void AIInterviewDetailController::buildLayout() {
    const SessionLayout layout = currentLayout();
    timeLabel_->setGeometry(layout.timeLabel);
    if (status_ != nullptr)
        status_->setGeometry(layout.status);
    topImg_->setGeometry(layout.pin);
    topImg_->setIconSize(layout.pin.size());
    topTableView_->setGeometry(layout.transcript);
    bottomTableView_->setGeometry(layout.answers);
    topView_->setGeometry(layout.transcript.marginsAdded(QMargins() + frameMargin));
    bottomView_->setGeometry(layout.answers.marginsAdded(QMargins() + frameMargin));
    if (isManual()) {
        textView_->setGeometry(layout.questionBox);
        textView_->setRightReserve(layout.questionBox.right() - layout.answerButton.left());
        aiResponseButton_->setGeometry(layout.answerButton);
        aiResponseButton_->raise();
    }
    hoverPin(topImg_->underMouse());
}

void AIInterviewDetailController::resizeEvent(QResizeEvent* event) {
    BaseViewController::resizeEvent(event);
    if (timeLabel_ != nullptr)
        buildLayout();
}

void AIInterviewDetailController::topupDidTap() {
    isTop_ = !isTop_;
    showPinState();
    setFloatingLevel(*window(), isTop_);
}

void AIInterviewDetailController::showPinState() {
    topImg_->setIcon(
        QIcon(isTop_ ? QStringLiteral(":/icons/translate_up.svg") : QStringLiteral(":/icons/translate_up1.svg")));
    tipLab_->setText(isTop_ ? QStringLiteral("取消置顶") : QStringLiteral("置顶"));
    topImg_->setAccessibleName(tipLab_->text());
    hoverPin(topImg_->underMouse());
}

void AIInterviewDetailController::hoverPin(bool inside) {
    SessionLayout layout;
    layout.pin = topImg_->geometry();
    tipLab_->setGeometry(layout.tip(tipLab_->sizeHint()));
    tipLab_->setVisible(inside);
}

void AIInterviewDetailController::reloadTranscript(const std::function<void()>& change) {
    if (isClosing_)
        change();
    else
        topTableView_->keepPlace(change);
}

void AIInterviewDetailController::reloadAnswers(const std::function<void()>& change) {
    if (isClosing_)
        change();
    else
        bottomTableView_->keepPlace(change);
}

} // namespace parlowen
