#include "SettingsRig.h"
#include <Foundation/NotificationCenter.h>
#include <Page/AIInterviewPages/LanguageListViewController.h>
#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/SystemFont.h>

namespace parlowen::testing {
namespace {

struct AISettingTest : SettingsRig {
    static void click(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton); }
    QString selected() const {
        QStringList titles;
        for (const auto* buttons : {&page_->deviceButtons(), &page_->fontButtons()}) {
            for (const CustomButtonView* button : *buttons)
                titles += button->isSelected() ? QStringList(button->title()) : QStringList();
        }
        return titles.join(' ');
    }
    bool says(const QString& words) const {
        return std::ranges::any_of(page_->findChildren<QLabel*>(), [&words](const QLabel* label) {
            return label->isVisible() && label->text().contains(words);
        });
    }
    AIInterviewModel stored() const { return settings_.aiInterviewSetModel().value_or(AIInterviewModel{"none"}); }
    QPlainTextEdit& text() const { return *page_->positionView()->roleTextView(); }
    bool editorGoes() const {
        return waitFor([this] { return page_->positionView()->parentWidget() == page_; });
    }
};

TEST_F(AISettingTest, OptionsShowWhatIsStoredAndStoreEachChangeAlone) {
    const AIInterviewModel before{"后端", 3, 1, 1, 1, 20};
    open(before);
    EXPECT_EQ(selected(), "系统声音 20");
    EXPECT_EQ(page_->fontShowLab()->textField()->font(), systemFont(16)) << "until a size is chosen";
    AIInterviewModel after = before;
    after.deviceType = 0;
    for (int i = 0; i < 2; ++i) { // the second time it is stored again
        settings_.setAiInterviewSetModel(before);
        click(page_->deviceButtons()[0]);
        EXPECT_EQ(stored(), after);
    }
    click(page_->fontButtons()[5]);
    after.answerFontSize = 24;
    EXPECT_EQ(stored(), after);
    EXPECT_EQ(page_->fontShowLab()->textField()->font(), systemFont(24));
    EXPECT_EQ(selected(), "麦克风声音 24");
    EXPECT_EQ(log_.lines(), (QStringList{"选中了设备: 麦克风声音", "选中了设备: 麦克风声音", "选中了字体: 24"}));
    open(AIInterviewModel{"", 0, 0, 0, 0, 30});
    EXPECT_EQ(selected(), "麦克风声音");
    open(std::nullopt);
    EXPECT_EQ(selected(), "14");
    EXPECT_TRUE(says("这里的选择不会保存"));
    click(page_->deviceButtons()[1]);
    EXPECT_EQ(settings_.aiInterviewSetModel(), std::nullopt);
    NotificationCenter::shared().post(AISettingViewController::audioInputChoice(), nullptr, {{"deviceType", 0}});
    page_->fontButtons()[0]->setFocus();
    QTest::keyClick(page_->fontButtons()[0], Qt::Key_Backtab);
    EXPECT_TRUE(page_->deviceButtons()[0]->hasFocus()) << "Tab comes to the one that was chosen elsewhere";
}

TEST_F(AISettingTest, ThePositionsEditorStoresOnConfirmationAlone) {
    open();
    EXPECT_TRUE(says("还没有填写岗位，也没有上传简历"));
    click(page_->roleImgV());
    EXPECT_EQ(log_.lines(), QStringList{"Image was clicked!"});
    EXPECT_TRUE(page_->positionView()->placeholderLabel()->isVisible());
    QTest::keyClicks(&text(), "a");
    EXPECT_FALSE(page_->positionView()->placeholderLabel()->isVisible());
    QTest::mouseClick(page_->positionView(), Qt::LeftButton, {}, {5, 5});
    EXPECT_FALSE(text().hasFocus());
    click(page_->positionView()->cancelButton());
    ASSERT_TRUE(editorGoes());
    EXPECT_EQ(stored(), AIInterviewModel());
    click(page_->roleImgV());
    EXPECT_EQ(text().toPlainText(), "") << "what was cancelled is gone";
    text().setPlainText("数据工程师");
    QTest::keyClick(&text(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(stored(), (AIInterviewModel{"数据工程师"}));
    EXPECT_TRUE(says("数据工程师") && says("还没有上传简历"));
    ASSERT_TRUE(editorGoes());
    EXPECT_TRUE(page_->roleImgV()->hasFocus());
    QTest::keyClick(page_->roleImgV(), Qt::Key_Return);
    EXPECT_TRUE(text().hasFocus()) << "the editor takes the keyboard";
}

struct ResumeFlowTest : SettingsRig {
    QString label() const { return card().updateLabel()->text(); }
    QString notice() const { return card().title()->text(); }
    bool panelOpens() {
        server_.enqueue(token_);
        QTest::mouseClick(card().childAt(5, 5), Qt::LeftButton);
        return waitFor([this] { return flow().panel() != nullptr && flow().panel()->isVisible(); });
    }

    const Reply token_ = Reply::json(200, R"({"code":0,"data":"credential"})");
};

TEST_F(ResumeFlowTest, AChosenFileIsUploadedBoundAndShownAlsoTheNextTime) {
    open();
    ASSERT_TRUE(panelOpens());
    EXPECT_EQ(flow().panel()->windowTitle(), "选择简历文件");
    EXPECT_EQ(flow().panel()->windowModality(), Qt::NonModal);
    flow().panel()->reject();
    ASSERT_TRUE(waitFor([this] { return flow().panel() == nullptr; }));
    EXPECT_EQ(page_->updateToken() + label(), "credential上传简历");

    ASSERT_TRUE(panelOpens());
    for (const char* reply : {R"({"id":"file-abc","filename":"CV.pdf"})", R"({"code":0})",
                              R"({"code":0,"data":{"user":{"resume":{"resume_name":"CV.PDF"}}}})"})
        server_.enqueue(Reply::json(200, reply));
    auto* field = flow().panel()->findChild<QLineEdit*>("fileNameEdit");
    field->setText(file("CV.PDF"));
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
    ASSERT_TRUE(waitFor([this] { return settings_.userInfo().has_value(); }));
    EXPECT_EQ(alerts_, QStringList{"上传成功|文件 CV.pdf 已成功上传"});
    QByteArrayList targets;
    for (const auto& request : server_.requests())
        targets << request.method + request.target;
    EXPECT_EQ(targets, (QByteArrayList{"GET/ai/token", "GET/ai/token", "POST/files", "POST/user/bind_resume/file-abc",
                                       "GET/user/info"}));
    EXPECT_EQ(server_.requests()[2].header("Authorization"), "Bearer credential");
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
    open();
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
}

TEST_F(ResumeFlowTest, EachFailureIsSaidInAnAlertAndOnTheCard) {
    open();
    const auto failureOf = [this](const QList<Reply>& replies, qint64 size = 1000) {
        for (const Reply& reply : replies)
            server_.enqueue(reply);
        const QString alert = outcomeOf(file("cv.docx", size));
        return alert + ' ' + label() + ' ' + notice();
    };
    EXPECT_EQ(failureOf({Reply::json(200, R"({"code":1,"message":"no"})")}),
              "请求失败|无法获取上传凭证 上传简历 无法获取上传凭证，点击重试");
    EXPECT_EQ(failureOf({token_, Reply::json(200, "<html>")}), "上传失败|请求失败 上传简历 cv.docx 上传失败，点击重试");
    EXPECT_EQ(failureOf({token_, Reply::json(200, "<html>")}, 40'000'000),
              "上传失败|请求失败 上传简历 cv.docx 上传失败：文件可能太大（40.0 MB）");
    EXPECT_EQ(failureOf({token_, Reply::json(400, R"({"error":{}})"), Reply::json(200, R"({"code":1})")}),
              "上传失败| 上传简历 cv.docx 上传失败，点击重试");
    EXPECT_EQ(
        failureOf({token_, Reply::json(400, R"({"error":{}})"), Reply::json(200, R"({"code":1,"message":"太大"})")}),
        "上传失败| 上传简历 cv.docx 上传失败：太大");
    card().setNotice(UpdateResumeView::Notice::problem, QString("文件内容不是 PDF、Word、PNG 或 JPEG。").repeated(2));
    const QLabel& said = *card().title();
    EXPECT_TRUE(waitFor([&said] { return said.heightForWidth(said.width()) <= said.height(); })) << "cut";
    EXPECT_EQ(lastRequest().target, "/user/bind_resume/") << "an answer that is no file's has an empty id";
}

TEST_F(ResumeFlowTest, OnlyOneFileOfAnAllowedTypeIsTaken) {
    open();
    EXPECT_FALSE(dragOver({file("cv.txt")}));
    leave();
    EXPECT_TRUE(notice().startsWith("不支持这种文件")) << "it can be read at leisure";
    EXPECT_FALSE(dragOver({file("a.pdf"), file("b.pdf")}));
    EXPECT_FALSE(drag<QDropEvent>());
    EXPECT_EQ(notice(), "一次只能上传一个文件");
    EXPECT_FALSE(dragOver({directory_.path()}));
    leave();
    EXPECT_TRUE(dragOver({file("a.JPEG")}));
    EXPECT_EQ(notice(), "松开即可上传");
    leave();
    EXPECT_TRUE(notice().startsWith("文件格式支持")) << notice().toStdString();
    EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(ResumeFlowTest, AnUploadShowsHowFarItIsAndCanBeCancelled) {
    const DeafServer deaf;
    open();
    flow().fileService = [&deaf] { return FileService{deaf.url(), {}}; };
    server_.enqueue(token_);
    const auto& bar = *card().findChild<QProgressBar*>();
    auto& cancel = *card().findChild<QPushButton*>();
    for (const bool byKey : {false, true}) {
        EXPECT_TRUE(dragOver({file("cv.pdf", 20'000'000)}) && drag<QDropEvent>());
        ASSERT_TRUE(waitFor([&bar] { return bar.isVisible() && bar.maximum() > 0 && bar.value() > 0; }));
        EXPECT_LT(bar.value(), bar.maximum());
        EXPECT_EQ(label(), "已选择文件：cv.pdf");
        if (byKey)
            QTest::keyClick(&cancel, Qt::Key_Escape);
        else
            QTest::mouseClick(&cancel, Qt::LeftButton);
        EXPECT_FALSE(bar.isVisible());
        EXPECT_EQ(label(), "上传简历");
    }
    EXPECT_THAT(flow().findChildren<ResumeUpload*>(), IsEmpty());
    EXPECT_THAT(log_.linesWith("❌") + alerts_, IsEmpty());

    server_.enqueue(Reply::eventStream()); // the credential comes too late
    const std::size_t before = server_.requests().size();
    QTest::mouseClick(card().childAt(5, 5), Qt::LeftButton);
    ASSERT_TRUE(waitForRequests(before + 1));
    QTest::keyClick(&cancel, Qt::Key_Escape);
    server_.sendPiece(R"({"code":0,"message":"late","data":"other"})");
    server_.endStream();
    ASSERT_TRUE(waitFor([this] { return log_.lines().back().contains("late"); }));
    EXPECT_EQ(page_->updateToken(), "credential");
    EXPECT_EQ(flow().panel(), nullptr);
}

const QByteArray threeLanguages =
    R"({"code":0,"data":[{"ID":7,"name":"法语","original_key":"fr-FR","translation_key":"fr","first_letters":"F"},)"
    R"({"ID":135,"name":"英语（美国）EN","original_key":"en-US","translation_key":"en"},{"name":"英语（英国）"}]})";

/// The picker in a popover, as its opener shows it, which is also told of the choice.
struct LanguageListTest : BackendFixture {
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
