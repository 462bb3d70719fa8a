#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

namespace parlowen {

class HttpDatas;
class InterviewTypeView;
class Settings;

/// The bar along the main window's top: the program's name, and the switch of the interview type. The type is the
/// account's: a change is stored, and told in "InterviewTypeNotification", once the backend has taken it. Main thread
/// only.
class TopBarView : public QWidget {
    Q_OBJECT
public:
    /// Both must outlive it.
    TopBarView(Settings& settings, HttpDatas& http, QWidget* parent = nullptr);

    QPushButton* modeSwithButton() const { return modeSwithButton_; }
    /// The card that asks for the type, made on first use.
    InterviewTypeView* interviewTypeView();
    /// Opens that card over the key window.
    void modeSwithButtonClicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void buildTitles();
    void buildSwitch();
    void sayTexts();
    void changeType(qint64 type);
    void typeAccepted(qint64 type, const QString& message);

    Settings& settings_;
    HttpDatas& http_;
    InterviewTypeView* interviewTypeView_ = nullptr;
    QLabel* iconImageView;
    QLabel* titleLabel;
    QLabel* subTitleLabel;
    QPushButton* modeSwithButton_;
};

} // namespace parlowen
