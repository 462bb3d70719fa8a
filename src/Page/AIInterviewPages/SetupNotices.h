#pragma once

#include <Network/Models.h>

#include <QWidget>
#include <optional>
#include <vector>

class QLabel;
class QPushButton;

namespace parlowen {

class CommonTipView;

/// A button that looks like a link in a text of second rank. The parent owns it.
QPushButton* makeLink(const QString& title, QWidget* parent);

/// A card that asks before a start that would come to nothing: to start all the same (the left button), or to take the
/// remedy (the right one). The caller owns it.
CommonTipView* makeStartQuestion(const QString& title, const QString& text, const QString& remedy);

/// Says that the backend does not offer the chosen language, and offers to take one that it does. It is in sight only
/// while there is something to say. Main thread only.
class LanguageNotice : public QWidget {
    Q_OBJECT
public:
    enum class Kind { spoken = 1, target = 2 }; ///< a language that is recognised, or one of translations

    LanguageNotice(Kind kind, QWidget* parent);

    /// The backend's list; none while it is not known, and nothing is then said.
    void setOffered(std::optional<std::vector<LanguageListModel>> languages);
    void setChosen(const std::optional<LanguageListModel>& language);
    /// Whether the language is used at all; nothing is said of one that is not.
    void setUsed(bool used);

    /// Whether the backend is known not to offer the language that is used.
    bool isMissing() const { return missing_; }
    /// What could be taken instead: the same language of another region, else American English, else the first that
    /// there is; none when nothing is offered.
    const std::optional<LanguageListModel>& instead() const { return instead_; }
    /// A card that asks what to do about an interview which would write nothing because a language is not offered: to
    /// start all the same, or to take what is offered, or only to go back where nothing is. The caller owns it.
    static CommonTipView* makeQuestion(const LanguageNotice& spoken, const LanguageNotice& target);
    QPushButton* insteadButton() const { return button_; }

Q_SIGNALS:
    /// The user takes the other one.
    void insteadTaken();

private:
    QString keyOf(const LanguageListModel& language) const;
    std::optional<LanguageListModel> findInstead() const;
    void look();

    const Kind kind_;
    std::optional<std::vector<LanguageListModel>> offered_;
    LanguageListModel chosen_;
    std::optional<LanguageListModel> instead_;
    bool used_ = true;
    bool missing_ = false;
    QLabel* text_;
    QPushButton* button_;
};

/// Says what answers lack, while the position or the résumé are missing, and leads to where they are given. Main thread
/// only.
class PersonalNotice : public QWidget {
    Q_OBJECT
public:
    explicit PersonalNotice(QWidget* parent);

    /// What is there by now.
    void show(bool hasPosition, bool hasResume);
    QLabel* text() const { return text_; }
    QPushButton* settingsButton() const { return button_; }

private:
    QLabel* text_;
    QPushButton* button_;
};

} // namespace parlowen
