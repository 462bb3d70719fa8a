#pragma once

#include <QString>
#include <cstdint>
#include <utility>

namespace parlowen {

/// The languages in which the program speaks to people.
enum class Language : std::uint8_t { English, Chinese };

/// The language of the terminal: Chinese where the locale of messages (LC_ALL, LC_MESSAGES, LANG) is, else English.
Language terminalLanguage();

/// What was said, in each language: for where it is known only later who reads it.
struct BilingualText {
    QString english;
    QString chinese;

    BilingualText() = default;
    BilingualText(QString inEnglish, QString inChinese) // both, always
        : english(std::move(inEnglish))
        , chinese(std::move(inChinese)) {}

    const QString& in(Language language) const { return language == Language::Chinese ? chinese : english; }
    /// In the terminal's language.
    const QString& here() const { return in(terminalLanguage()); }
    bool isEmpty() const { return english.isEmpty() && chinese.isEmpty(); }
    bool operator==(const BilingualText&) const = default;
};

/// One thing to say, in each language, with %1, %2 … for what differs.
struct Phrase {
    const char* english; ///< UTF-8
    const char* chinese; ///< UTF-8

    QString in(Language language) const { return QString::fromUtf8(language == Language::Chinese ? chinese : english); }
    template<class... Arguments>
    QString in(Language language, const Arguments&... arguments) const {
        return in(language).arg(arguments...);
    }
    /// In the terminal's language.
    template<class... Arguments>
    QString here(const Arguments&... arguments) const {
        return in(terminalLanguage(), arguments...);
    }
    template<class... Arguments>
    BilingualText both(const Arguments&... arguments) const {
        return {in(Language::English, arguments...), in(Language::Chinese, arguments...)};
    }
};

} // namespace parlowen
