#pragma once

#include "BaseViewController.h"

namespace parlowen {

/// The frame around a list or a text box on a dark window: a thin grey line with round corners, in the accent colour
/// while what it frames is used by keys, and a faint lighter one just inside it.
class ListFrame : public BaseView {
    Q_OBJECT
public:
    using BaseView::BaseView;
    void setHighlighted(bool highlighted);

protected:
    void buildStyle() override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool highlighted_ = false;
};

} // namespace parlowen
