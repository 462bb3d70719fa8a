#pragma once

#include <Foundation/NotificationCenter.h>
#include <Tools/PopView/ProgressHUD.h>

#include <QWindow>
#include <memory>
#include <string>
#include <support/WaitFor.h>
#include <vector>

#include "Pixels.h"

namespace parlowen {

constexpr auto textMode = ProgressHUDMode::text;

/// An overlay over a window, and what it announces.
class HudFixture : public ::testing::Test {
protected:
    HudFixture() {
        container_->resize(600, 400);
        paintGround(*container_, ground_);
        container_->show();
        hud_.containerView = container_.get();
        for (const char* name :
             {"willAppear", "didAppear", "willDisappear", "didDisappear", "didReceiveMouseDownEvent"}) {
            NotificationCenter::shared().observe(QString("ProgressHUD.") + name, &observer_,
                                                 [this, name](const Notification& notification) {
                                                     EXPECT_EQ(notification.object, &hud_);
                                                     EXPECT_TRUE(notification.userInfo.isEmpty());
                                                     posted_.emplace_back(name);
                                                 });
        }
    }

    bool isShown() const { return hud_.isVisible() && hud_.alpha() == 1; }
    /// Shows the overlay and waits until it stands there.
    void show(const QString& text, const ProgressHUDMode& mode) {
        hud_.show(text, mode);
        ASSERT_TRUE(testing::waitFor([this] { return isShown(); }));
    }
    QImage picture() { return shot(*container_); }
    /// What is on the screen where a part of the overlay stands.
    QImage picture(const QWidget& part) {
        return picture().copy(QRect(part.mapTo(container_.get(), QPoint(0, 0)), part.size()));
    }

    const QColor ground_{200, 220, 240};
    QObject observer_;
    std::vector<std::string> posted_;
    std::unique_ptr<QWidget> container_ = std::make_unique<QWidget>();
    ProgressHUD hud_;
};

} // namespace parlowen
