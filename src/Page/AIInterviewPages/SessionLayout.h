#pragma once

#include <QRect>
#include <QSize>

namespace parlowen {

/// Where the views of the session page stand, in the page's coordinates.
struct SessionLayout {
    QRect timeLabel;
    QRect pin;
    QRect transcript;
    QRect questionBox;  ///< null in automatic mode
    QRect answerButton; ///< null in automatic mode
    QRect answers;

    static SessionLayout of(QSize page, bool manual);
};

} // namespace parlowen
