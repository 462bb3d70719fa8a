#include <Page/View/BaseView.h>
#include <Page/View/BaseViewController.h>
#include <gmock/gmock.h>

#include <QLineEdit>
#include <QStringList>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

using testing::waitFor;

class Page : public BaseViewController {
public:
    QStringList steps;
    QLineEdit* field = nullptr;

protected:
    void loadView() override {
        steps << "load";
        BaseViewController::loadView();
    }
    void buildUserInterface() override {
        steps << "build";
        field = new QLineEdit(this);
        field->setFocus();
    }
    void buildLayout() override { steps << "layout"; }
};

TEST(BaseViewControllerTest, BuildsOnceInItsOrderBeforeItIsShown) {
    Page page;
    EXPECT_TRUE(page.steps.isEmpty());
    page.show();
    page.hide();
    page.show();
    EXPECT_EQ(page.steps.join(u' ').toStdString(), "load build layout");
    EXPECT_EQ(page.grab().toImage().pixelColor(page.width() - 1, page.height() - 1), QColor(240, 251, 249));
}

TEST(BaseViewControllerTest, ShowsItsFieldsWithoutTheKeyboardFocus) {
    Page page;
    page.show();
    page.activateWindow();
    ASSERT_TRUE(waitFor([&page] { return page.field->hasFocus(); })) << "the field asked for it";
    EXPECT_TRUE(waitFor([&page] { return !page.field->hasFocus() && page.focusWidget() == nullptr; }));
}

class Card : public BaseView {
public:
    using BaseView::BaseView;
    QStringList steps;

protected:
    void buildStyle() override {
        BaseView::buildStyle();
        steps << "style";
    }
    void build() override { steps << "build"; }
};

TEST(BaseViewTest, RunsItsStepsWhenItIsMade) {
    QWidget parent;
    const auto* card = makeView<Card>(&parent);
    EXPECT_EQ(card->steps.join(u' ').toStdString(), "style build");
    EXPECT_TRUE(card->autoFillBackground());
}

} // namespace
} // namespace parlowen
