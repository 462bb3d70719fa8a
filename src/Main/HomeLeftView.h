#pragma once

#include <Page/View/KeyFocusButton.h>

#include <QWidget>
#include <array>
#include <functional>
#include <vector>

class QLabel;

namespace parlowen {

/// One button of the sidebar: a picture and a title, which it shows highlighted or not. Main thread only.
class HomeLeftCustomView : public KeyFocusButton {
    Q_OBJECT
public:
    /// `title` is translated in the context "Pages" (UTF-8).
    HomeLeftCustomView(const char* title, const QString& icon, int menuTag, QWidget* parent);

    const int menuTag; ///< the index of the page that it opens

    QLabel* iconImg() const { return iconImg_; }
    QLabel* titleLab() const { return titleLab_; }
    /// Whether it stands for the page that is shown.
    bool isHighlighted() const { return isHighlighted_; }
    void setHighlighted(bool highlighted);
    /// Whether only the picture is shown, with the title as its tip.
    void setCompact(bool compact);

    QSize sizeHint() const override;

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void sayTexts();

    const char* title_;
    QString icon_; ///< the picture's name; empty for none
    bool isHighlighted_ = false;
    bool isCompact_ = false;
    QLabel* iconImg_;
    QLabel* titleLab_;
};

/// The column of page buttons. Main thread only.
class HomeLeftView : public QWidget {
    Q_OBJECT
public:
    explicit HomeLeftView(QWidget* parent);

    std::function<void(int)> didSelectItem; ///< called with the pressed button's `menuTag`
    int selectIndex = 0;                    ///< the index of the page whose button is highlighted

    HomeLeftCustomView* toolBtn() { return button(0); }
    HomeLeftCustomView* myBtn() { return button(1); }
    HomeLeftCustomView* historyBtn() { return button(2); }
    HomeLeftCustomView* settingBtn() { return button(3); }
    HomeLeftCustomView* versionBtn() { return button(4); }
    HomeLeftCustomView* inviteBtn() { return button(5); }
    HomeLeftCustomView* activewBtn() { return button(6); }
    HomeLeftCustomView* loingouBtn() { return button(7); }
    /// Those whose look follows `selectIndex`; not all of them stand in the column.
    const std::vector<HomeLeftCustomView*>& buttons();

    /// Highlights the button whose `menuTag` is `selectIndex`, and no other.
    void refresh();
    /// Whether the buttons are pictures alone, where a window is narrow for the size of its text.
    void setCompact(bool compact);
    /// How wide the column is.
    int columnWidth() const;

private:
    HomeLeftCustomView* button(std::size_t number);
    void didTap(int menuTag);

    std::array<HomeLeftCustomView*, 8> made_{}; ///< each on first use
    std::vector<HomeLeftCustomView*> buttons_;
    bool isCompact_ = false;
};

} // namespace parlowen
