#include "SessionPage.h"

#include "AIInterviewDetailController.h"
#include "AnswersModel.h"
#include "FontSteps.h"
#include "QuestionBox.h"
#include "StatusChip.h"
#include "TranscriptModel.h"
#include "WindowLevel.h"

#include <Page/View/ListFrame.h>
#include <Page/View/ReadingList.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/MouseTracker.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/SessionStatus.h>

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QToolButton>
#include <algorithm>
#include <initializer_list>

namespace parlowen {

namespace {

constexpr int buttonPadding = 10;
constexpr int frameMargin = 2; // a frame is so much larger than what it holds on every side

QString clockText(qint64 seconds) {
    return QString::asprintf("%02lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                             static_cast<long long>(seconds % 3600 / 60), static_cast<long long>(seconds % 60));
}

QLabel* makeLabel(QWidget* parent, const QFont& font, const QColor& color) {
    auto* label = new ElidedLabel(parent);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    return label;
}

} // namespace

SessionPage::SessionPage(AIInterviewDetailController& session, QWidget* parent)
    : BaseViewController(parent)
    , session_(session)
    , transcript_(new TranscriptModel(this))
    , answers_(new AnswersModel(this)) {
    connect(&session, &AIInterviewDetailController::happened, this, &SessionPage::show);
    connect(&session, &AIInterviewDetailController::useTimeCountChanged, this, &SessionPage::showTime);
    connect(&session, &AIInterviewDetailController::fontSizeChanged, this, &SessionPage::showFontSize);
    connect(&session, &AIInterviewDetailController::isTopChanged, this, [this](bool isTop) {
        showPinState();
        setFloatingLevel(*window(), isTop);
    });
}

std::vector<QWidget*> SessionPage::keyboardOrder() const {
    std::vector<QWidget*> order{topImg_, topTableView_, textView_, aiResponseButton_, bottomTableView_};
    if (status_ != nullptr)
        order.insert(order.begin(), status_);
    return order;
}

QRect SessionPage::pinPlace() const { return topImg_->geometry(); }

bool SessionPage::hasRoomForTitle() const { return currentLayout().hasTitle; }

void SessionPage::addStatusNote(const BilingualText& sentence) {
    if (status_ != nullptr)
        status_->addNote(sentence);
}

void SessionPage::copyAll() const {
    QStringList parts;
    for (const ReadingList* list : {topTableView_, bottomTableView_}) {
        if (list->model()->rowCount() > 0)
            parts << list->accessibleName() + u'\n' + list->wholeText();
    }
    QApplication::clipboard()->setText(parts.join(QStringLiteral("\n\n")));
}

// The window's own ground shows through.
void SessionPage::loadView() {
    setAutoFillBackground(false);
    setFocusPolicy(Qt::ClickFocus);
}

void SessionPage::viewDidLoad() {
    BaseViewController::viewDidLoad();
    textView_->setReadOnly(true);
    session_.viewDidLoad();
    showFontSize(session_.fontSize());
}

void SessionPage::buildUserInterface() {
    buildHeader();
    buildLists();
    buildQuestionBox();
    buildReading();
    sayTexts();
}

void SessionPage::sayTexts() {
    topTableView_->setAccessibleName(tr("面试记录"));
    bottomTableView_->setAccessibleName(tr("AI回答"));
    topTableView_->setPlaceholder(tr("对话的文字会显示在这里"));
    bottomTableView_->setPlaceholder(session_.isManual() ? tr("点“回答”或按 Ctrl+Enter，AI 的回答会显示在这里")
                                                         : tr("AI 对每个问题的回答会显示在这里"));
    textView_->setAccessibleName(tr("问题"));
    aiResponseButton_->setText(tr("回答"));
    showPinState();
}

void SessionPage::changeEvent(QEvent* event) {
    BaseViewController::changeEvent(event);
    if (event->type() != QEvent::LanguageChange || timeLabel_ == nullptr)
        return;
    sayTexts();
    buildLayout();
}

void SessionPage::buildHeader() {
    timeLabel_ = makeLabel(this, systemFont(14), hexColor(theme::onDark));
    timeLabel_->setObjectName(QStringLiteral("timeLabel"));
    timeLabel_->setText(QStringLiteral("00:00:00"));

    if (session_.services().status != nullptr) {
        status_ = new StatusChip(*session_.services().status, this);
        connect(status_, &StatusChip::widthChanged, this, [this] { status_->setGeometry(currentLayout().status); });
    }

    topImg_ = new QToolButton(this);
    topImg_->setObjectName(QStringLiteral("topImg"));
    topImg_->setProperty("tag", 9);
    topImg_->setStyleSheet(styleSheets::darkIconButton());
    topImg_->setFocusPolicy(Qt::TabFocus);
    topImg_->setCursor(Qt::PointingHandCursor);
    connect(topImg_, &QToolButton::clicked, &session_, &AIInterviewDetailController::topupDidTap);

    tipLab_ = makeLabel(this, systemFont(smallFontSize), hexColor(theme::tip));
    tipLab_->setObjectName(QStringLiteral("tipLab"));
    tipLab_->setAlignment(Qt::AlignCenter);
    tipLab_->setAttribute(Qt::WA_TransparentForMouseEvents);
    tipLab_->hide();
    MouseTracker::attach(topImg_, [this](MouseMoveEvent event) { hoverPin(event == MouseMoveEvent::entered); });
    showPinState();
}

void SessionPage::buildLists() {
    transcript_->setFontSize(session_.fontSize());
    answers_->setFontSize(session_.fontSize());
    topView_ = makeView<ListFrame>(this);
    bottomView_ = makeView<ListFrame>(this);
    topTableView_ = new ReadingList(new AiInterviewCellMac, this);
    topTableView_->setObjectName(QStringLiteral("topTableView"));
    topTableView_->setModel(transcript_);
    bottomTableView_ = new ReadingList(new AiInterviewAiCellMac, this);
    bottomTableView_->setObjectName(QStringLiteral("bottomTableView"));
    bottomTableView_->setModel(answers_);
    for (ReadingList* list : {topTableView_, bottomTableView_})
        list->setNominalRowHeight(TextCell::nominalHeight(systemFont(session_.fontSize())));
    connect(bottomTableView_, &ReadingList::disclosureRequested, this,
            [this](int row) { reloadAnswers([&] { answers_->toggleGrounds(row); }); });
    connect(topTableView_, &ReadingList::focusShown, topView_, &ListFrame::setHighlighted);
    connect(bottomTableView_, &ReadingList::focusShown, bottomView_, &ListFrame::setHighlighted);
}

void SessionPage::buildQuestionBox() {
    textView_ = new QuestionBox(this);
    textView_->setObjectName(QStringLiteral("textView"));
    textView_->setVisible(session_.isManual());
    aiResponseButton_ = new QPushButton(this);
    aiResponseButton_->setObjectName(QStringLiteral("aiResponseButton"));
    aiResponseButton_->setFont(systemFont(14));
    aiResponseButton_->setFocusPolicy(Qt::TabFocus);
    aiResponseButton_->setCursor(Qt::PointingHandCursor);
    aiResponseButton_->setStyleSheet(styleSheets::darkAccentButton());
    aiResponseButton_->setToolTip(QStringLiteral("Ctrl+Enter"));
    aiResponseButton_->setVisible(session_.isManual());
    connect(aiResponseButton_, &QPushButton::clicked, &session_, &AIInterviewDetailController::aiResponseTapped);
    connect(textView_, &QPlainTextEdit::textChanged, this,
            [this] { session_.setQuestionText(textView_->toPlainText()); });
}

SessionLayout SessionPage::currentLayout() const {
    SessionLayout::Header header;
    header.clockWidth = timeLabel_->sizeHint().width();
    header.titleWidth = titleWidth_;
    header.status = status_ == nullptr ? QSize() : status_->sizeHint();
    header.answerButton = aiResponseButton_->sizeHint() + QSize(2 * buttonPadding, buttonPadding);
    header.height = SessionLayout::headerFor(std::max(timeLabel_->sizeHint().height(), header.status.height()),
                                             tipLab_->sizeHint().height());
    return SessionLayout::of(size(), session_.isManual(), header);
}

void SessionPage::buildLayout() {
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
    if (session_.isManual()) {
        textView_->setGeometry(layout.questionBox);
        textView_->setRightReserve(layout.questionBox.right() - layout.answerButton.left());
        aiResponseButton_->setGeometry(layout.answerButton);
        aiResponseButton_->raise();
    }
    hoverPin(topImg_->underMouse());
}

void SessionPage::resizeEvent(QResizeEvent* event) {
    BaseViewController::resizeEvent(event);
    if (timeLabel_ != nullptr)
        buildLayout();
}

void SessionPage::showPinState() {
    topImg_->setIcon(namedImage(session_.isTop() ? QStringLiteral("translate_up") : QStringLiteral("translate_up1")));
    tipLab_->setText(session_.isTop() ? tr("取消置顶") : tr("置顶"));
    topImg_->setAccessibleName(tipLab_->text());
    hoverPin(topImg_->underMouse());
}

void SessionPage::hoverPin(bool inside) {
    SessionLayout layout;
    layout.pin = topImg_->geometry();
    tipLab_->setGeometry(layout.tip(tipLab_->sizeHint()));
    tipLab_->setVisible(inside);
}

void SessionPage::buildReading() {
    const auto onKeys = [this](std::initializer_list<Qt::Key> keys, int (*next)(int)) {
        for (const Qt::Key key : keys)
            connect(new QShortcut(Qt::CTRL | key, this), &QShortcut::activated, this,
                    [this, next] { session_.setFontSize(next(session_.fontSize())); });
    };
    // On many keyboards "+" shares its key with "=".
    onKeys({Qt::Key_Plus, Qt::Key_Equal}, [](int size) { return FontSteps::larger(size); });
    onKeys({Qt::Key_Minus}, [](int size) { return FontSteps::smaller(size); });
    for (const Qt::Key enter : {Qt::Key_Return, Qt::Key_Enter})
        connect(new QShortcut(Qt::CTRL | enter, textView_, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated,
                &session_, &AIInterviewDetailController::aiResponseTapped);
    // The menu key is the platform's business, this one is not.
    connect(new QShortcut(Qt::SHIFT | Qt::Key_F10, this), &QShortcut::activated, this, &SessionPage::openMenuByKeys);
    for (ReadingList* list : {topTableView_, bottomTableView_})
        connect(list, &ReadingList::menuRequested, this,
                [this, list](QPoint position) { Q_EMIT menuRequested(list, position); });
}

void SessionPage::openMenuByKeys() {
    QWidget* focused = window()->focusWidget();
    QWidget* target = focused == nullptr ? window() : focused;
    const QPoint middle = target->rect().center();
    QContextMenuEvent request(QContextMenuEvent::Keyboard, middle, target->mapToGlobal(middle));
    QApplication::sendEvent(target, &request);
}

void SessionPage::showFontSize(int size) {
    const int row = TextCell::nominalHeight(systemFont(size));
    topTableView_->changeFont([this, size] { transcript_->setFontSize(size); }, row);
    bottomTableView_->changeFont([this, size] { answers_->setFontSize(size); }, row);
}

void SessionPage::showTime(qint64 seconds) {
    const qsizetype length = timeLabel_->text().size();
    timeLabel_->setText(clockText(seconds));
    if (timeLabel_->text().size() != length)
        buildLayout();
}

// What a session does while it closes is not told, and no list follows it any more.
void SessionPage::show(const SessionEvent& event) {
    std::visit(
        SessionHandler{
            [this](const session::Recognizing&) { textView_->setReadOnly(false); },
            [this](const session::Partial& partial) {
                reloadTranscript([&] { transcript_->setCenterModel(partial.row); });
            },
            [this](const session::Sentence& sentence) { reloadTranscript([&] { transcript_->finish(sentence.row); }); },
            [this](const session::Translated& sentence) {
                reloadTranscript([&] { transcript_->translate(sentence.number, sentence.row); });
            },
            [this](const session::Missed& missed) {
                reloadTranscript([&] { transcript_->markMissed(missed.seconds); });
            },
            [this](const session::Collected& collected) { textView_->addSentence(collected.sentence); },
            [this](const session::Taken&) {
                reloadAnswers([this] { answers_->clear(); });
                textView_->clear();
            },
            [this](const session::Question& question) { reloadAnswers([&] { answers_->append(question.number); }); },
            [this](const session::AnswerPiece& answer) {
                reloadAnswers([&] { answers_->grow(answer.number, answer.piece); });
            },
            [this](const session::AnswerGrounds& answer) {
                reloadAnswers([&] { answers_->ground(answer.number, answer.lines); });
            },
            [this](const session::AnswerEnded& answer) {
                reloadAnswers([&] { answers_->end(answer.number, answer.end); });
            },
            [](const auto&) {}},
        event);
}

void SessionPage::reloadTranscript(const std::function<void()>& change) { topTableView_->keepPlace(change); }

void SessionPage::reloadAnswers(const std::function<void()>& change) { bottomTableView_->keepPlace(change); }

} // namespace parlowen

#include "moc_SessionPage.cpp"
