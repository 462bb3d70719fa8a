#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <utility>

namespace parlowen {

/// Base of every page but the sign-in. A page is built in fixed steps: `loadView`, then `viewDidLoad` with the build
/// step and the layout step. They run once, before the page is first shown. Each time that it comes into sight it hears
/// `viewWillAppear` just before and `viewDidAppear` just after. Main thread only.
class BaseViewController : public QWidget {
    Q_OBJECT
public:
    explicit BaseViewController(QWidget* parent = nullptr);

    /// Runs the steps unless they have run.
    void loadViewIfNeeded();

    /// Shows or hides the page; builds it before it is first shown.
    void setVisible(bool visible) override;

protected:
    /// Prepares the page's own surface: an opaque pale green, with colours for what stands on it that are readable
    /// there, whatever the desktop's are.
    virtual void loadView();
    /// Takes the keyboard focus from whichever field has it, 0.1 s from now, then runs the build and the layout step.
    virtual void viewDidLoad();
    /// The build step: makes the page's views.
    virtual void buildUserInterface() {}
    /// The layout step: places them.
    virtual void buildLayout() {}
    virtual void viewWillAppear() {}
    virtual void viewDidAppear() {}

    void showEvent(QShowEvent* event) override;

private:
    bool loaded_ = false;
};

/// Shows one page at a time, over its whole size, and makes it anew on every switch, also to the page that is shown
/// already. The page before is hidden at once and then deleted. Main thread only.
class PageContainer : public QWidget {
    Q_OBJECT
public:
    /// Makes the page of that index; none for an index without one, which shows an empty page.
    using Maker = std::function<BaseViewController*(int index)>;

    PageContainer(Maker maker, QWidget* parent);

    void showPage(int index);
    /// The page shown now, made anew when the language of windows changes; null before the first.
    BaseViewController* currentVC() const { return currentVC_; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    Maker maker_;
    int index_ = 0;
    QPointer<BaseViewController> currentVC_;
};

/// Base of page components (cards and panels). `makeView` runs the style step and then the build step.
class BaseView : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    /// The style step: the component's own background and the colours of what stands on it; white unless overridden.
    virtual void buildStyle();
    /// The build step: makes what the component holds.
    virtual void build() {}

private:
    template<class View, class... Arguments>
    friend View* makeView(QWidget* parent, Arguments&&... arguments);
};

/// Makes a component with its steps run; the parent owns it.
template<class View, class... Arguments>
View* makeView(QWidget* parent, Arguments&&... arguments) {
    auto* view = new View(std::forward<Arguments>(arguments)..., parent);
    BaseView* base = view;
    base->buildStyle();
    base->build();
    return view;
}

} // namespace parlowen
