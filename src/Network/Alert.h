#pragma once

#include <QString>

namespace parlowen {

enum class AlertStyle { warning, informational, critical };

/// A modal alert with the one button "确定".
struct Alert {
    QString title;
    QString text; ///< the informative text below the title; may be empty
    QString icon; ///< name of the image; empty for the platform's caution icon
    AlertStyle style = AlertStyle::warning;
    bool operator==(const Alert&) const = default;
};

} // namespace parlowen
