#pragma once

#include "BaseView.h"

namespace parlowen {

/// The frame around a list on a dark window: a thin grey line with round corners, in the accent colour while the list
/// is used by keys.
class ListFrame : public BaseView {
    Q_OBJECT
public:
    using BaseView::BaseView;
    static constexpr int cornerRadius = 10;

    void setHighlighted(bool highlighted);

protected:
    void buildStyle() override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool highlighted_ = false;
};

} // namespace parlowen
