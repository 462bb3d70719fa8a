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
    page.activateWindow();
    ASSERT_TRUE(waitFor([&page] { return page.field->hasFocus(); })) << "the field asked for it";
    EXPECT_TRUE(waitFor([&page] { return page.focusWidget() == nullptr; })) << "but nothing has it at first";
    EXPECT_EQ(page.grab().toImage().pixelColor(page.width() - 1, page.height() - 1), QColor(240, 251, 249));
}

} // namespace
} // namespace parlowen
