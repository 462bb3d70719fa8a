#pragma once

#include <QColor>
#include <QFont>
#include <QPointer>
#include <QRect>
#include <QSize>
#include <QString>
#include <QWidget>
#include <optional>

namespace parlowen {

/// The overlay's colours.
struct ProgressHUDStyle {
    QColor foreground; ///< of text, spinner and icons
    QColor backgroud;  ///< of the box, before the overlay's opacity

    static ProgressHUDStyle custom(const QColor& foreground, const QColor& backgroud);
    static ProgressHUDStyle light();
    static ProgressHUDStyle dark();
};

/// What the overlay lays over the whole of its container.
struct ProgressHUDMaskType {
    std::optional<QColor> color; ///< nothing is drawn without one
    bool passesClicks = false;   ///< whether what lies beneath still gets clicks

    static ProgressHUDMaskType custom(const QColor& color);
    static ProgressHUDMaskType none();
    static ProgressHUDMaskType clear();
    static ProgressHUDMaskType black();
};

enum class ProgressHUDPosition { top, center, bottom };

/// How the overlay looks and stands in the way.
struct ProgressHUDLook {
    ProgressHUDStyle style = ProgressHUDStyle::dark();
    ProgressHUDMaskType maskType = ProgressHUDMaskType::none();
    ProgressHUDPosition position = ProgressHUDPosition::bottom;
    double opacity = 0.9; ///< of the box
    double spinnerSize = 60;
    double margin = 18;
    double padding = 4;
    double cornerRadius = 15;
};

/// What stands above the overlay's text.
class ProgressHUDMode {
public:
    enum Kind { ownView, indeterminate, determinate, info, success, error, text };

    /// Any mode but that with a view of the caller's.
    ProgressHUDMode(Kind kind) // NOLINT(google-explicit-constructor): a mode is named like an enumerator
        : kind_(kind) {}
    /// A view of the caller's, in its own size. The overlay owns it from the show on and deletes it when it is replaced
    /// or the overlay has gone.
    static ProgressHUDMode custom(QWidget* view);

    Kind kind() const { return kind_; }
    QWidget* view() const { return view_; }
    bool isSpinner() const { return kind_ == indeterminate || kind_ == determinate; }
    bool isIcon() const { return kind_ == info || kind_ == success || kind_ == error; }

private:
    Kind kind_;
    QPointer<QWidget> view_;
};

/// Where the overlay's box, indicator and text stand, in the overlay's coordinates (points, y downwards).
struct ProgressHUDLayout {
    struct Metrics {
        double margin;
        double padding;
        ProgressHUDPosition position;
    };

    QRect box;
    QRect indicator; ///< null without one
    QRect text;      ///< null without text

    /// `overlay` is the overlay's size; `indicator` the size of what stands above the text, empty for nothing.
    static ProgressHUDLayout of(QSize overlay, const Metrics& metrics, QSize indicator, const QString& text,
                                const QFont& font);
};

} // namespace parlowen
