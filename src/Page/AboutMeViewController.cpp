#include "AboutMeViewController.h"

#include <Foundation/Bundle.h>
#include <Foundation/ConsoleLog.h>
#include <Network/HttpDatas.h>
#include <Page/View/LanguageSwitch.h>
#include <Page/View/SettingFields.h>
#include <Page/View/ShortcutSwitch.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QLabel>

namespace parlowen {

namespace {

constexpr int aboutLogoSide = 100;
constexpr int aboutSpacing = 10;

} // namespace

AboutMeViewController::AboutMeViewController(HttpDatas& http, Settings& settings, QWidget* parent)
    : BaseViewController(parent)
    , http_(http)
    , settings_(settings) {}

void AboutMeViewController::buildUserInterface() {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setSpacing(aboutSpacing);
    column->addStretch(4);
    auto* logo = new QLabel(this);
    const QSize side(inPoints(aboutLogoSide), inPoints(aboutLogoSide));
    logo->setMinimumSize(side);
    logo->setPixmap(namedImage(QStringLiteral("logo")).pixmap(side, devicePixelRatioF()));
    QLabel* name = makeLabel(hexColor(theme::darkText), true, 24, this);
    name->setText(QStringLiteral("Parlowen"));
    versionLabel_ = makeLabel(hexColor(theme::midGrey), false, 12, this);
    versionLabel_->setText(QStringLiteral("V1.0.0"));
    versionLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    for (QLabel* label : {logo, name, versionLabel_}) {
        label->setAlignment(Qt::AlignCenter);
        column->addWidget(label);
    }
    column->addWidget(new LanguageSwitch(settings_, this), 0, Qt::AlignHCenter);
    column->addWidget(new ShortcutSwitch(settings_, this), 0, Qt::AlignHCenter);
    sureBtn_ = new CustomButton(tr("检查最新版本"), hexColor(theme::accent), 10, 14, this);
    sureBtn_->hasIcon = false;
    connect(sureBtn_, &CustomButton::clicked, this, &AboutMeViewController::checkForUpdates);
    column->addWidget(sureBtn_, 0, Qt::AlignHCenter);
    column->addStretch(5);
    sureBtn_->hide();
    fillScrolling(*this, content);
}

void AboutMeViewController::viewWillAppear() { versionLabel_->setText(tr("当前版本：") + Bundle::shortVersion()); }

void AboutMeViewController::checkForUpdates() {
    consoleLog(QStringLiteral("检查最新版本"));
    http_.requestData(QStringLiteral("/operation/version"), HttpMethod::GET, std::nullopt, std::nullopt, this,
                      [this](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
                          if (status == FResponseStatus::success && json)
                              receive((*json)["data"]);
                      });
}

void AboutMeViewController::receive(const JSON& payload) {
    const auto found = mapLenient<CheckVersionModel>(payload.rawString());
    if (!found || !found->version || !found->min_version)
        return;
    if (found->version == found->min_version) {
        http_.showAlert({tr("当前已经是最新版本"), {}, QStringLiteral("logo"), AlertStyle::warning});
        return;
    }
    if (tipView_ == nullptr)
        tipView_ = makeView<VersionForceAlertView>(this);
    tipView_->model = found;
    tipView_->configure();
    tipView_->setGeometry(rect());
    tipView_->show();
    tipView_->raise();
}

void AboutMeViewController::resizeEvent(QResizeEvent* event) {
    BaseViewController::resizeEvent(event);
    if (tipView_ != nullptr)
        tipView_->setGeometry(rect());
}

} // namespace parlowen

#include "moc_AboutMeViewController.cpp"
