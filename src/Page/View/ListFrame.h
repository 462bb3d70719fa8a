#pragma once

#include "BaseView.h"

namespace parlowen {

/// The frame around a list on a dark window: a thin grey line with round corners, a shade darker inside.
class ListFrame : public BaseView {
    Q_OBJECT
public:
    using BaseView::BaseView;
    static constexpr int cornerRadius = 10;
    /// The shade inside: what lies behind the window may be bright.
    static QColor ground();

protected:
    void buildStyle() override;
    void paintEvent(QPaintEvent* event) override;
};

} // namespace parlowen
