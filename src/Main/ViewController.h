#pragma once

#include "Pages.h"

#include <Page/View/BaseViewController.h>

#include <QPointer>
#include <QWidget>

class QMenu;
class QSplitter;
class QToolButton;

namespace parlowen {

class HomeLeftView;
class TopBarView;

/// What the sidebar asks for a page.
class SidebarDelegate {
public:
    virtual ~SidebarDelegate() = default;
    virtual void showPage(int index) = 0;
};

/// The left side of the main window, which chooses the page on the right. Main thread only.
class SidebarViewController : public QWidget {
    Q_OBJECT
public:
    explicit SidebarViewController(QWidget* parent);

    SidebarDelegate* delegate = nullptr; ///< outlives it

    HomeLeftView* leftView();
    /// Highlights the button of that page and asks the delegate for it.
    void select(int index);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void handleMyNotification1(const QString& message);

    HomeLeftView* leftView_ = nullptr; ///< made on first use
};

/// The right side: one page at a time, made anew each time. One index is no page but signs out. Main thread only.
class ContentContainerViewController : public PageContainer, public SidebarDelegate {
    Q_OBJECT
public:
    /// Shows the first page.
    ContentContainerViewController(PageContext context, QWidget* parent);

    void showPage(int index) override;

private:
    void signOut();

    bool isSigningOut_ = false;

    const PageContext context_;
};

/// The main window's content: the top bar, below it the sidebar and the page. Main thread only.
class ViewController : public QWidget {
    Q_OBJECT
public:
    explicit ViewController(const PageContext& context, QWidget* parent = nullptr);

    TopBarView* topBar() const { return topBar_; }
    SidebarViewController* sidebar() const { return sidebar_; }
    BaseViewController* page() const { return content_->currentVC(); }
    /// Puts a button into the top bar that opens the menu, which outlives this.
    void setMenu(QMenu* menu);
    /// Shows the page, and in the sidebar that it is shown.
    void showPage(int index) { sidebar_->select(index); }

    /// At the usual font scale.
    static constexpr QSize usualSize{650, 400};

protected:
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildMenuButton();
    void sayTexts();

    TopBarView* topBar_;
    QSplitter* split_;
    SidebarViewController* sidebar_;
    ContentContainerViewController* content_;
    QToolButton* menuButton_;
};

} // namespace parlowen
