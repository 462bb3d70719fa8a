#pragma once

#include <Network/Models.h>
#include <Page/View/BaseViewController.h>
#include <Page/View/CustomButtonView.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QBoxLayout;
class QLabel;

namespace parlowen {

class CardButton;
class CustomBacTextField;
class ElidedLabel;
class HttpDatas;
class PositionView;
class ResumeFlow;
class Settings;
class UpdateResumeView;

/// The page of what answers are made from and how they are shown: the position, the résumé, the sound that is listened
/// to, the size of the answers' text. Each change is stored at once. It scrolls where its window is small. Main thread
/// only.
class AISettingViewController : public BaseViewController {
    Q_OBJECT
public:
    /// Both must outlive it.
    AISettingViewController(Settings& settings, HttpDatas& http, QWidget* parent = nullptr);
    ~AISettingViewController() override;

    /// What is stored, as it was when the page was built, with the changes made here; none where nothing is stored.
    const std::optional<AIInterviewModel>& startAIModel() const { return startAIModel_; }
    /// The upload credential; empty before the first upload.
    QString updateToken() const;
    /// Starts the upload of a résumé.
    void uploadResume();

    /// The name of the notification that has the page on show choose what is heard: {"deviceType": 0 or 1}.
    static QString audioInputChoice();

    PositionView* positionView() const { return positionView_; }
    CardButton* roleImgV() const { return roleImgV_; }
    UpdateResumeView* updateResumeView() const { return updateResumeView_; }
    CustomBacTextField* fontShowLab() const { return fontShowLab_; }
    const std::vector<CustomButtonView*>& deviceButtons() const { return deviceButtons_; }
    const std::vector<CustomButtonView*>& fontButtons() const { return fontButtons_; }
    /// Null before the page is built.
    ResumeFlow* resumeFlow() const { return resumeFlow_.get(); }

protected:
    void viewDidLoad() override;
    void buildUserInterface() override;
    void buildLayout() override;

private:
    using Chosen = void (AISettingViewController::*)(const QString& title);
    void buildRoleCard();
    void buildResumeCard();
    std::shared_ptr<ExclusiveSelectionGroup> makeGroup(const QStringList& titles, std::optional<qint64> selected,
                                                       std::vector<CustomButtonView*>& buttons, Chosen handler);
    void chooseDevice(int device);
    void deviceChosen(const QString& title);
    void fontChosen(const QString& title);
    void imageClicked();
    void positionWritten(const QString& text);
    void store();
    void showPreview(double size);
    void showWhatIsMissing();

    Settings& settings_;
    HttpDatas& http_;
    std::optional<AIInterviewModel> startAIModel_;
    QWidget* content_; ///< what scrolls
    CardButton* roleImgV_ = nullptr;
    QLabel* titleLab = nullptr;
    QLabel* positionLab_ = nullptr; ///< the position, or what to do about it
    UpdateResumeView* updateResumeView_ = nullptr;
    QLabel* missingLab_ = nullptr; ///< what answers suffer from as things stand
    QLabel* deviceLab = nullptr;
    QLabel* setFontLab = nullptr;
    CustomBacTextField* fontShowLab_ = nullptr;
    std::vector<CustomButtonView*> deviceButtons_;
    std::vector<CustomButtonView*> fontButtons_;
    std::shared_ptr<ExclusiveSelectionGroup> deviceSelectionGroup;
    std::shared_ptr<ExclusiveSelectionGroup> fontSelectionGroup;
    PositionView* positionView_;
    std::unique_ptr<ResumeFlow> resumeFlow_;
};

} // namespace parlowen
