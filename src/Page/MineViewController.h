#pragma once

#include <Network/Models.h>
#include <Page/View/BaseViewController.h>
#include <Page/View/KeyFocusButton.h>

#include <functional>
#include <optional>
#include <vector>

class QLabel;
class QPushButton;

namespace parlowen {

class CommonTipView;
class HttpDatas;
class ImageLoader;
class Settings;

/// An entry of the account page: an icon, a title, and the way on at its right. Main thread only.
class RecordButton : public KeyFocusButton {
    Q_OBJECT
public:
    RecordButton(const QString& title, const QString& image, QWidget* parent);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// Who is signed in, with the ways to the support and to the deletion of the account. Main thread only.
class MineViewController : public BaseViewController {
    Q_OBJECT
public:
    /// All of it must outlive the page.
    MineViewController(HttpDatas& http, Settings& settings, ImageLoader& images, QWidget* parent = nullptr);

    /// Opens the sign-in window and closes all others, once the account is deleted; the settings are cleared by then.
    std::function<void()> onSignedOut;

    const std::optional<UserBaseModel>& userModel() const { return userModel_; }
    QLabel* phoneLabel() const { return phoneLabel_; }
    QLabel* idLabel() const { return idLabel_; }
    QPushButton* copyButton() const { return copyButton_; }
    const std::vector<RecordButton*>& recordButtons() const { return recordButtons_; }
    CommonTipView* logoffTipView() const { return logoffTipView_; } ///< asks whether to delete the account

protected:
    void viewDidLoad() override;
    void buildUserInterface() override;

private:
    QWidget* buildHeader();
    QWidget* buildRecords();
    void display(const UserBaseModel& user);
    void refresh();
    void copyTap();
    void recordButtonTapped(const QString& title);
    void deleteAccount();

    HttpDatas& http_;
    Settings& settings_;
    ImageLoader& images_;
    std::optional<UserBaseModel> userModel_;
    CommonTipView* logoffTipView_;
    QLabel* avatarImageView_ = nullptr;
    QLabel* phoneLabel_ = nullptr;
    QLabel* idLabel_ = nullptr;
    QPushButton* copyButton_ = nullptr;
    std::vector<RecordButton*> recordButtons_;
};

} // namespace parlowen
