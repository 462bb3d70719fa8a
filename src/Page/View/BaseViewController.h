#pragma once

#include <QWidget>

namespace parlowen {

/// Base of every page but the sign-in. A page is built in fixed steps: `loadView`, then `viewDidLoad` with the build
/// step and the layout step. They run once, before the page is first shown. Main thread only.
class BaseViewController : public QWidget {
    Q_OBJECT
public:
    explicit BaseViewController(QWidget* parent = nullptr);

    /// Runs the steps unless they have run.
    void loadViewIfNeeded();

    /// Shows or hides the page; builds it before it is first shown.
    void setVisible(bool visible) override;

protected:
    /// Prepares the page's own surface: an opaque pale green.
    virtual void loadView();
    /// Takes the keyboard focus from whichever field has it, 0.1 s from now, then runs the build and the layout step.
    virtual void viewDidLoad();
    /// The build step: makes the page's views.
    virtual void buildUserInterface() {}
    /// The layout step: places them.
    virtual void buildLayout() {}

private:
    bool loaded_ = false;
};

} // namespace parlowen
