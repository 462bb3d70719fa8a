#include "Sheet.h"

#include <Page/AIInterviewPages/WindowRig.h>
#include <Tools/StreamModel.h>

#include <QLabel>
#include <QMenu>
#include <QTest>
#include <QWindow>

namespace parlowen::screenshots {
namespace {

using parlowen::testing::waitFor;

constexpr auto sentences = {
    "Good morning, thank you for taking the time to talk with us today.",
    "Could you walk me through a project that you are proud of?",
    "What was the hardest technical decision that you had to make, and which alternatives did you weigh before you "
    "made it?",
    "How did you find out that the cache was the problem?",
    "What would you do differently if you built the same system again with twice as many people?",
};

const QStringList points{"很高兴来参加今天的面试。", "我最自豪的是重做了订单系统。", "最难的是放弃同步写。",
                         "命中率从九成跌到四成。", "我会更早拆分团队的边界。"};

/// Real sessions in both layouts: answers that come by themselves, and answers on request. With QT_FONT_DPI=144 and
/// QT_ENABLE_HIGHDPI_SCALING=0 in the environment they are drawn as for a user who wants text half as large again.
class SessionPictures : public WindowRig, public ::testing::WithParamInterface<int> {
protected:
    bool isManual() const { return GetParam() == 1; }

    void openPlain() {
        single();
        settings_.setAiInterviewSetModel(interview(GetParam()));
        open();
    }
    void take(const QString& state) {
        Sheet::shared().section(isManual() ? QString("Session window, answers on request")
                                           : QString("Session window, answers by themselves"));
        Sheet::shared().add(state, *window_);
    }
    /// One sentence after the other, each with a short answer where answers come by themselves.
    void sayAll() {
        for (std::size_t i = 0; i < sentences.size(); ++i) {
            const std::size_t before = page().streamModels().size();
            final(QString::fromUtf8(sentences.begin()[i]));
            ASSERT_TRUE(isManual() || asked(before + 1));
            if (!isManual())
                grow(QString("先用一句话回答：%1\n再举一个亲身经历的例子，最后说说结果。")
                         .arg(points.at(static_cast<qsizetype>(i))));
        }
    }
    /// Lets the latest question's answer begin, asking for it where the layout has a button.
    void answer(std::size_t asks, const QString& text) {
        if (isManual())
            answerButton().click();
        ASSERT_TRUE(asked(asks));
        grow(text);
    }
    /// A piece of the latest question's answer.
    void grow(const QString& text) {
        answerPiece(text);
        const int row = answers().model()->rowCount() - 1;
        ASSERT_TRUE(waitFor([&] { return shown(answers(), row).ends_with(text.toStdString()); }));
    }
};

const QString begun =
    "最难的决定是把同步写改成异步队列。\n先说背景：高峰时每秒约八千次写入，数据库主库的延迟超过两秒。\n"
    "我比较了三种方案：分库、写缓存和消息队列。队列让峰值变平，失败可以重放，代价是";

TEST_P(SessionPictures, Empty) {
    openPlain();
    take("empty");
}

TEST_P(SessionPictures, PlainRowsAndAGrowingAnswer) {
    openPlain();
    ASSERT_NO_FATAL_FAILURE(sayAll());
    partial("And how large was");
    take("plain rows");
    answer(isManual() ? 1 : sentences.size(), begun);
    take("an answer grows");
}

TEST_P(SessionPictures, TheSmallestWindowUnderThePointer) {
    openPlain();
    ASSERT_NO_FATAL_FAILURE(sayAll());
    window_->resize(window_->minimumSize());
    window_->activateWindow();
    ASSERT_TRUE(waitFor([this] { return window_->isActiveWindow(); }));
    auto* pin = window_->findChild<QToolButton*>("topImg");
    QTest::mouseMove(pin, pin->rect().center());
    const auto* tip = window_->findChild<QLabel*>("tipLab");
    ASSERT_TRUE(waitFor([tip] { return tip->isVisible(); }));
    take("as small as it gets, the pointer on the pin");
    QTest::mouseClick(pin, Qt::LeftButton);
    ASSERT_EQ(tip->text(), QCoreApplication::translate("parlowen::SessionPage", "置顶"));
    take("the same, let go");
    QTest::mouseMove(window_.get(), {200, 200});
}

TEST_P(SessionPictures, TranslatedRows) {
    twoLanguages();
    settings_.setAiInterviewSetModel(interview(GetParam()));
    open();
    translated("SpeechPhrase", "Why do you want to work here?", "¿Por qué quiere trabajar aquí?");
    translated("SpeechPhrase", "Could you walk me through a project that you are proud of?",
               "¿Podría contarme un proyecto del que esté orgulloso?");
    translated("SpeechHypothesis", "And how large was", "¿Y qué tan grande era");
    take("translated rows");
}

TEST_P(SessionPictures, FullListsWithAMarkAndTheMenu) {
    openPlain();
    for (int i = 0; i < 3; ++i)
        ASSERT_NO_FATAL_FAILURE(sayAll());
    answer(isManual() ? 1 : 15, begun + QString("最终一致。\n").repeated(12) + begun.repeated(3));
    window_->activateWindow();
    ASSERT_TRUE(waitFor([this] { return window_->isActiveWindow(); }));
    QWidget* text = transcript().viewport();
    QTest::mousePress(text, Qt::LeftButton, {}, {120, 24});
    QTest::mouseMove(text, {330, 92});
    QTest::mouseRelease(text, Qt::LeftButton, {}, {330, 92});
    answers().setFocus(Qt::TabFocusReason);
    take("full, with a mark and the keyboard on the answers");
    QTest::mouseClick(window_->windowHandle(), Qt::RightButton, {}, text->mapTo(window_.get(), QPoint(250, 60)));
    auto* menu = window_->findChild<QMenu*>("sessionMenu");
    ASSERT_NE(menu, nullptr);
    Sheet::shared().add("its context menu", *menu);
}

/// What the service says, where the model behind it lets it down, stands in the answer; what the connection to the
/// service does, below it.
TEST_P(SessionPictures, GroundsAndTroubles) {
    openPlain();
    final("What was the hardest technical decision that you had to make?");
    answer(1, begun + "最终一致。");
    answerServer_.sendPiece(
        ": grounds [\"2021 年起负责订单系统，日均三千万单\",\"把同步写改为消息队列，峰值写入降低六成\"]\n");
    ASSERT_TRUE(waitFor([this] { return shown(answers(), 0, AiInterviewAiCellMac::groundsRole) != ""; }));
    take("an answer that leans on the résumé");
    answers().setFocus(Qt::TabFocusReason);
    QTest::keyClick(&answers(), Qt::Key_Space);
    take("with the lines that it leans on");
    if (isManual())
        return;
    std::size_t asks = 1;
    for (const char* trouble : {"（无法连接语言模型）", "（语言模型的请求过多）", "（语言模型的回复中断）"}) {
        final(QString::fromUtf8(sentences.begin()[asks]));
        ASSERT_TRUE(asked(++asks));
        grow(QString("【提纲】项目经历（按固定模板整理，未使用语言模型）\n• 先用一句话说明项目。\n") + trouble);
    }
    final("And how large was it?");
    ASSERT_TRUE(asked(++asks));
    grow("一开始只有");
    answerServer_.closeConnection();
    ASSERT_TRUE(waitFor([&] { return shown(answers(), 4, AiInterviewAiCellMac::noteRole) != ""; }));
    take("answers that came to grief");
}

INSTANTIATE_TEST_SUITE_P(Layouts, SessionPictures, ::testing::Values(0, 1));

} // namespace
} // namespace parlowen::screenshots
