#pragma once

#include "Pages.h"

#include <Page/View/BaseViewController.h>

#include <QWidget>
#include <functional>

class QLabel;
class QPushButton;
class QToolButton;

namespace parlowen {

class TopBarView;

/// A plain window with the top bar and one page under it; the settings page, when another page asks for it, with a way
/// back. Main thread only.
class PageWindow : public QWidget {
    Q_OBJECT
public:
    explicit PageWindow(PageContext context);

    /// Says in the page's place what is under way, or what is wrong, then with a button that tries again.
    void say(const QString& text, const std::function<void()>& retry = {});
    /// Shows the page, from which others are gone back to.
    void showPage(int index);

    TopBarView* topBar() const { return topBar_; }
    BaseViewController* page() const { return pages_->currentVC(); }
    QToolButton* backButton() const { return back_; }

Q_SIGNALS:
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void build();
    void sayTexts();
    void openSettings(const QString& message);
    void show(int index);

    const PageContext context_;
    int first_ = setupPage;
    TopBarView* topBar_;
    QWidget* backRow_;
    QToolButton* back_;
    PageContainer* pages_;
    QWidget* notice_;
    QLabel* noticeText_;
    QPushButton* retry_;
    std::function<void()> tryAgain_;
};

} // namespace parlowen
