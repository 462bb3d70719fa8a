#include <Page/AIInterviewPages/LanguageListViewController.h>
#include <Tools/PopView/Popover.h>

#include "support/BackendFixture.h"
#include "support/WidgetTest.h"

namespace parlowen::testing {
namespace {

const QByteArray threeLanguages =
    R"({"code":0,"data":[{"ID":7,"name":"法语","original_key":"fr-FR","translation_key":"fr","first_letters":"F"},)"
    R"({"ID":135,"name":"英语（美国）EN","original_key":"en-US","translation_key":"en"},{"name":"英语（英国）"}]})";

/// The picker in a popover, as its opener shows it, which is also told of the choice.
class LanguageListTest : public BackendFixture {
protected:
    struct Opener : QObject, LanguageSelectorDelegate {
        void didSelectLanguage(LanguageListModel language) override { chosen.push_back(language); }
        std::vector<LanguageListModel> chosen;
    };

    void open(const Reply& reply, int source = 1) {
        server_.enqueue(reply);
        picker_->source = source;
        picker_->setDelegate(opener_.get());
        anchor_.show();
        popover_.setContentView(picker_);
        popover_.show(&anchor_, Popover::Edge::right);
    }
    void openFull() {
        open(Reply::json(200, threeLanguages));
        ASSERT_TRUE(waitFor([this] { return !picker_->countryModels().empty(); }));
    }
    void press(Qt::Key key) const { QTest::keyClick(popover_.focusWidget(), key); }
    QString shown() const {
        const QAbstractItemModel& rows = *picker_->tableView()->model();
        const auto* notice = picker_->findChild<QLabel*>();
        QStringList names(notice->isVisible() ? QStringList(notice->text()) : QStringList());
        for (int row = 0; row < rows.rowCount() && !notice->isVisible(); ++row)
            names << rows.index(row, 0).data().toString();
        return names.join(' ');
    }

    HttpDatas http_{settings_, {}, {}};
    std::unique_ptr<Opener> opener_ = std::make_unique<Opener>();
    QWidget anchor_;
    Popover popover_{&anchor_};
    LanguageListViewController* picker_ = new LanguageListViewController(http_);
};

TEST_F(LanguageListTest, AClickOnAFilteredRowTellsThatLanguageAndCloses) {
    openFull();
    EXPECT_EQ(lastRequest().target, "/language/list?source=1");
    const QString all = "法语 英语（美国）EN 英语（英国）";
    EXPECT_EQ(shown(), all);
    QTest::keyClicks(picker_->searchField(), "en");
    EXPECT_EQ(shown(), "英语（美国）EN");
    picker_->searchField()->setText("克林贡");
    EXPECT_EQ(shown(), "没有匹配的语言");
    picker_->searchField()->clear();
    EXPECT_EQ(shown(), all);
    picker_->searchField()->setText("英");
    EXPECT_EQ(shown(), "英语（美国）EN 英语（英国）");
    const QListView& table = *picker_->tableView();
    QTest::mouseClick(table.viewport(), Qt::LeftButton, {}, table.visualRect(table.model()->index(1, 0)).center());
    EXPECT_THAT(opener_->chosen, ElementsAre(LanguageListModel{0, "英语（英国）", "", "", ""}));
    EXPECT_FALSE(popover_.isVisible());
}

TEST_F(LanguageListTest, KeysAloneChooseAndAnOpenerThatHasGoneIsNotTold) {
    openFull();
    press(Qt::Key_Return);
    EXPECT_THAT(opener_->chosen, IsEmpty()) << "no row is marked yet";
    press(Qt::Key_Down);
    press(Qt::Key_PageDown);
    press(Qt::Key_Up);
    EXPECT_TRUE(popover_.isVisible());
    press(Qt::Key_Enter);
    EXPECT_THAT(opener_->chosen, ElementsAre(LanguageListModel{135, "英语（美国）EN", "en-US", "en", ""}));
    EXPECT_FALSE(popover_.isVisible());

    popover_.show(&anchor_, Popover::Edge::right);
    opener_.reset();
    picker_->searchField()->insert("法");
    press(Qt::Key_Return);
    EXPECT_FALSE(popover_.isVisible());
}

TEST_F(LanguageListTest, AListThatCannotBeHadIsSaidAndAskedForAgain) {
    open(Reply::json(200, R"({"code":5,"data":[{"name":"法语"}]})"), 2);
    EXPECT_EQ(shown(), "正在获取语言列表…");
    ASSERT_TRUE(waitFor([this] { return shown() == "无法获取语言列表"; }));
    EXPECT_EQ(lastRequest().target, "/language/list?source=2");
    picker_->searchField()->insert("英");
    EXPECT_EQ(shown(), "无法获取语言列表");
    server_.enqueue(Reply::json(200, threeLanguages));
    QTest::keyClick(picker_->findChild<QPushButton*>(), Qt::Key_Space);
    ASSERT_TRUE(waitFor([this] { return shown() == "英语（美国）EN 英语（英国）"; })) << "what was typed counts";
    EXPECT_EQ(popover_.focusWidget(), picker_->searchField());
}

} // namespace
} // namespace parlowen::testing
