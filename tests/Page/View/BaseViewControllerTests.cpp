#include <Page/View/BaseViewController.h>
#include <Tools/PopView/Colors.h>
#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

using ::testing::ElementsAre;
using testing::waitFor;

/// Notes its steps; holds a label and a field that wants the keyboard.
class Page : public BaseViewController {
public:
    explicit Page(std::vector<std::string>& steps)
        : steps_(steps) {}

    QLineEdit* field_ = nullptr;

protected:
    void buildUserInterface() override {
        steps_.emplace_back("build");
        (new QLabel("█", this))->setGeometry(0, 0, 40, 20);
        field_ = new QLineEdit("█", this);
        field_->move(0, 40);
        field_->setFocus();
    }
    void buildLayout() override { steps_.emplace_back("layout"); }
    void viewWillAppear() override { steps_.emplace_back("will"); }
    void viewDidAppear() override { steps_.emplace_back("did"); }

private:
    std::vector<std::string>& steps_;
};

TEST(PageContainerTest, EverySwitchBuildsThePageAnewAndTellsItThatItAppears) {
    std::vector<std::string> steps;
    PageContainer container([&](int index) { return index == 0 ? new Page(steps) : nullptr; }, nullptr);
    container.resize(300, 200);
    container.showPage(0);
    EXPECT_THAT(steps, ElementsAre("build", "layout")) << "nothing is to be seen yet";
    const QPointer<BaseViewController> first = container.currentVC();
    container.show();
    container.activateWindow();
    ASSERT_TRUE(waitFor([&] { return steps.size() == 4; }));
    EXPECT_THAT(steps, ElementsAre("build", "layout", "will", "did"));
    container.resize(400, 300);
    EXPECT_EQ(first->geometry(), container.rect());
    steps.clear();
    container.showPage(0);
    EXPECT_FALSE(first->isVisible());
    EXPECT_THAT(steps, ElementsAre("build", "layout", "will"));
    ASSERT_TRUE(waitFor([&] { return first.isNull() && steps.size() == 4; }));
    const auto* page = dynamic_cast<Page*>(container.currentVC());
    EXPECT_TRUE(waitFor([page] { return !page->field_->hasFocus(); })) << "no field keeps the keyboard";
    container.showPage(7);
    EXPECT_EQ(container.currentVC()->geometry(), container.rect()) << "an index without a page";
}

TEST(PageContainerTest, APageIsReadableOnADarkDesktop) {
    const QPalette before = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(40, 40, 40), QColor(30, 30, 30)));
    std::vector<std::string> steps;
    Page page(steps);
    page.resize(200, 100);
    page.loadViewIfNeeded();
    const QImage image = page.grab().toImage();
    EXPECT_EQ(image.pixelColor(190, 90), hexColor(theme::pageGround));
    const auto darkest = [&image](const QRect& area) {
        int found = 255;
        for (int x = area.left(); x <= area.right(); ++x)
            found = std::min(found, image.pixelColor(x, area.center().y()).lightness());
        return found;
    };
    EXPECT_LT(darkest({0, 0, 40, 20}), 80) << "a label's text";
    EXPECT_LT(darkest(page.field_->geometry()), 80) << "a field's text";
    EXPECT_GT(image.pixelColor(page.field_->geometry().center() + QPoint(40, 0)).lightness(), 200) << "its ground";
    EXPECT_GT(page.palette().color(QPalette::Button).lightness(), 200);
    QApplication::setPalette(before);
}

} // namespace
} // namespace parlowen
