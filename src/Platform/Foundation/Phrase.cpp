#include "Phrase.h"

#include "ChosenLanguage.h"

#include <QByteArray>

namespace parlowen {

Language terminalLanguage() {
    if (const auto chosen = chosenLanguage())
        return *chosen;
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QByteArray locale = qgetenv(variable);
        if (!locale.isEmpty())
            return locale.startsWith("zh") ? Language::Chinese : Language::English;
    }
    return Language::English;
}

} // namespace parlowen
