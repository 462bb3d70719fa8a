#pragma once

#include <QFrame>
#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace parlowen {

class LanguageSwitch;
class Settings;

/// What the user works with on the sign-in page.
struct LoginControls {
    QLabel* hint = nullptr;           ///< beneath the heading
    QPushButton* areaLabel = nullptr; ///< the chosen country
    QLineEdit* phoneLabel = nullptr;
    QLineEdit* codeLabel = nullptr;   ///< the SMS code, or the password in plain view
    QLineEdit* secureField = nullptr; ///< the password, masked
    QToolButton* eyeIcon = nullptr;   ///< masks the password, or shows it
    QPushButton* sendCodeButton = nullptr;
    QCheckBox* autoLoginBtn = nullptr;
    QPushButton* contractLabel = nullptr; ///< opens the contact card
    QPushButton* loginButton = nullptr;
    LanguageSwitch* languageSwitch = nullptr;
    QPushButton* localButton = nullptr; ///< enters without a number; null where that cannot be
};

/// A frame round one field and what belongs to it, marked while one of them has the keyboard.
class FieldBox : public QFrame {
    Q_OBJECT
public:
    FieldBox(const QString& icon, QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// The sign-in page's look: a panel with the product's name, which gives way where there is no room for it, beside the
/// fields, which scroll where the window is too low. It decides nothing. Main thread only.
class LoginForm : public QWidget {
    Q_OBJECT
public:
    LoginForm(Settings& settings, bool hasLocalButton, QWidget* parent);

    const LoginControls& controls() const { return controls_; }
    /// The button that enters without a number, and what is promised with it, where there is one.
    void showLocalEntrance(bool isShown);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildHeading(QVBoxLayout& column, Settings& settings);
    void buildArea(QVBoxLayout& column);
    void buildPhone(QVBoxLayout& column);
    void buildSecret(QVBoxLayout& column);
    void buildOptions(QVBoxLayout& column);
    void buildButtons(QVBoxLayout& column);
    void buildLocalButton(QVBoxLayout& column);
    QLineEdit* makeField(const QString& name, QWidget* parent);

    LoginControls controls_;
    QLabel* localPromise_ = nullptr;
    QWidget* brand_;
    QScrollArea* scroll_;
};

} // namespace parlowen
