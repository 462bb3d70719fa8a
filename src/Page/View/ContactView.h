#pragma once

#include "BaseViewController.h"

class QLabel;
class QToolButton;

namespace parlowen {

class HttpDatas;
class ImageLoader;

/// A card that shows how to reach the support: a QR code from the backend, to be scanned with a phone. To be shown in a
/// `MYCenterPopView`. Main thread only.
class ContactView : public BaseView {
    Q_OBJECT
public:
    ContactView(HttpDatas& http, ImageLoader& images, QWidget* parent = nullptr);

    /// Shows a card over the content of the key window; does nothing without one.
    static void present(HttpDatas& http, ImageLoader& images);

    QLabel* titleL() const { return titleL_; }
    QLabel* subTitleL() const { return subTitleL_; }
    QToolButton* closeImg() const { return closeImg_; }
    QLabel* iconV() const { return iconV_; } ///< the QR code, or that there is none

    static void closeTap();

protected:
    void buildStyle() override;
    /// Builds the card and asks for the code.
    void build() override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void request();
    void showPicture(const QImage& picture);
    void say(const QString& text);

    HttpDatas& http_;
    ImageLoader& images_;
    QLabel* titleL_ = nullptr;
    QLabel* subTitleL_ = nullptr;
    QToolButton* closeImg_ = nullptr;
    QLabel* iconV_ = nullptr;
};

} // namespace parlowen
