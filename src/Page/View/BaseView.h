#pragma once

#include <QWidget>
#include <utility>

namespace parlowen {

/// Base of page components (cards and panels). `makeView` runs the style step and then the build step.
class BaseView : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    /// The style step: the component's own background; white unless overridden.
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
