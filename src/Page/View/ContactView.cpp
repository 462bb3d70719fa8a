#include "ContactView.h"

#include <Network/HttpDatas.h>
#include <Network/ImageLoader.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>

#include <QLabel>
#include <QPainter>
#include <QToolButton>
#include <algorithm>

namespace parlowen {

namespace {

constexpr QSize contactSize(260, 260);
constexpr double contactRadius = 10;
constexpr int codeSide = 150;
constexpr int closeSide = 20;

} // namespace

ContactView::ContactView(HttpDatas& http, ImageLoader& images, QWidget* parent)
    : BaseView(parent)
    , http_(http)
    , images_(images) {
    resize(contactSize * fontScale());
}

void ContactView::present(HttpDatas& http, ImageLoader& images) {
    QWidget* content = keyWindowContent();
    if (content == nullptr)
        return;
    const auto open = content->findChildren<ContactView*>();
    if (open.isEmpty())
        MYCenterPopView::show(makeView<ContactView>(nullptr, http, images), content);
}

void ContactView::buildStyle() { setPalette(lightPalette(Qt::white)); }

void ContactView::build() {
    titleL_ = makeLabel(hexColor(theme::darkText), false, 14, this);
    titleL_->setText(tr("联系客服"));
    titleL_->setWordWrap(false);
    subTitleL_ = makeLabel(hexColor(theme::midGrey), false, 13, this);
    subTitleL_->setText(tr("扫一扫上面二维码，添加客服"));
    subTitleL_->setWordWrap(false);
    subTitleL_->setAlignment(Qt::AlignCenter);
    iconV_ = makeLabel(hexColor(theme::midGrey), false, 13, this);
    iconV_->setAlignment(Qt::AlignCenter);
    iconV_->setMargin(inPoints(12));
    iconV_->setAccessibleName(tr("客服二维码"));
    closeImg_ = new QToolButton(this);
    closeImg_->setIcon(namedImage(QStringLiteral("close")));
    closeImg_->setIconSize(QSize(inPoints(closeSide), inPoints(closeSide)));
    closeImg_->setAccessibleName(tr("关闭"));
    closeImg_->setCursor(Qt::PointingHandCursor);
    closeImg_->setFocusPolicy(Qt::StrongFocus);
    closeImg_->setStyleSheet(QStringLiteral("QToolButton { border: 1px solid transparent; border-radius: 13px; }"
                                            "QToolButton:focus, QToolButton:hover { border-color: %1; }")
                                 .arg(hexColor(theme::link).name()));
    connect(closeImg_, &QToolButton::clicked, this, &ContactView::closeTap);
    setAccessibleName(titleL_->text());
    request();
}

void ContactView::request() {
    http_.requestData(QStringLiteral("/operation/contact"), HttpMethod::GET, std::nullopt, std::nullopt, this,
                      [this](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
                          if (status == FResponseStatus::failure) // an alert says why
                              return say(tr("暂时无法获取二维码"));
                          if (status != FResponseStatus::success)
                              return say(tr("这里没有客服的二维码"));
                          const QUrl url(json ? (*json)["data"].stringValue() : QString(), QUrl::StrictMode);
                          if (!url.isValid() || url.isRelative()) {
                              say(tr("这里没有客服的二维码"));
                              return;
                          }
                          images_.load(url, this, [this](const Result<QImage>& picture) {
                              picture ? showPicture(*picture) : say(tr("暂时无法获取二维码"));
                          });
                      });
}

/// In the code's place.
void ContactView::say(const QString& text) {
    iconV_->setText(text);
    iconV_->setAccessibleName(iconV_->text());
    subTitleL_->hide(); // there is nothing to scan
}

void ContactView::showPicture(const QImage& picture) {
    const QSize side = iconV_->size() * devicePixelRatioF();
    // A code stays sharp when its squares are not smoothed as they grow.
    const bool grows = picture.width() < side.width();
    QImage scaled =
        picture.scaled(side, Qt::KeepAspectRatio, grows ? Qt::FastTransformation : Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(devicePixelRatioF());
    iconV_->setMargin(0);
    iconV_->setPixmap(QPixmap::fromImage(scaled));
}

void ContactView::resizeEvent(QResizeEvent*) {
    const int titleHeight = titleL_->sizeHint().height();
    titleL_->setGeometry(inPoints(18), inPoints(16), width() / 2, titleHeight);
    const int top = titleL_->geometry().bottom() + 1 + inPoints(20);
    const int lineHeight = subTitleL_->sizeHint().height();
    const int side = std::min(inPoints(codeSide), height() - top - lineHeight - inPoints(16 + 8));
    iconV_->setGeometry((width() - side) / 2, top, side, side);
    subTitleL_->setGeometry(0, top + side + inPoints(16), width(), lineHeight);
    const int close = inPoints(closeSide + 6);
    closeImg_->setGeometry(width() - inPoints(13) - close, inPoints(17), close, close);
}

void ContactView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(hexColor(theme::cardBorder));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), contactRadius, contactRadius);
    painter.setPen(Qt::NoPen);
    if (iconV_->pixmap().isNull()) {
        painter.setBrush(hexColor(theme::pale));
        painter.drawRoundedRect(iconV_->geometry(), contactRadius, contactRadius);
    }
}

void ContactView::closeTap() { closeCurrentPopView(); }

} // namespace parlowen

#include "moc_ContactView.cpp"
