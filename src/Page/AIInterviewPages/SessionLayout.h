#pragma once

#include <QRect>
#include <QSize>

namespace parlowen {

/// Where the views of the session page stand, in the page's coordinates.
struct SessionLayout {
    QRect timeLabel;
    QRect status;         ///< null without a status
    bool hasTitle = true; ///< whether the title has room beside the status
    QRect pin;
    QRect transcript;
    QRect questionBox;  ///< null in automatic mode
    QRect answerButton; ///< null in automatic mode
    QRect answers;

    /// The height of the header's line at the usual font scale.
    static constexpr int usualHeader = 26;
    /// The header's height for a label and a tip of these heights: the tip has room above the pin.
    static int headerFor(int labelHeight, int tipHeight);

    /// What of the header decides about its places.
    struct Header {
        int height = usualHeader;
        int clockWidth = 0;
        int titleWidth = 0;      ///< of the window's title, in the page's middle
        QSize status;            ///< what it would take; empty without one
        QSize answerButton = {}; ///< the least that its text takes; it is larger by itself where that is small
    };
    static SessionLayout of(QSize page, bool manual, const Header& header);
    /// Where the pin's tip of that size stands.
    QRect tip(QSize size) const;
};

} // namespace parlowen
