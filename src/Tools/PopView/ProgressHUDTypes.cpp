#include "ProgressHUDTypes.h"

#include "Palette.h"

namespace parlowen {

ProgressHUDStyle ProgressHUDStyle::custom(const QColor& foreground, const QColor& backgroud) {
    return {foreground, backgroud};
}

ProgressHUDStyle ProgressHUDStyle::light() { return {palette::CSS::black(), palette::CSS::white()}; }

ProgressHUDStyle ProgressHUDStyle::dark() { return {QColor::fromRgbF(0.95F, 0.95F, 0.95F), palette::CSS::black()}; }

ProgressHUDMaskType ProgressHUDMaskType::custom(const QColor& color) { return {color, false}; }

ProgressHUDMaskType ProgressHUDMaskType::none() { return {{}, true}; }

ProgressHUDMaskType ProgressHUDMaskType::clear() { return {{}, false}; }

ProgressHUDMaskType ProgressHUDMaskType::black() { return {QColor::fromRgbF(0, 0, 0, 0.6F), false}; }

ProgressHUDMode ProgressHUDMode::custom(QWidget* view) {
    ProgressHUDMode mode(ownView);
    mode.view_ = view;
    return mode;
}

} // namespace parlowen
