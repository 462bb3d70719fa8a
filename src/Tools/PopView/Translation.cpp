#include "Translation.h"

#include <Foundation/ChosenLanguage.h>

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QPointer>
#include <QTranslator>

namespace parlowen {

namespace {

bool load(QTranslator& translator, Language language) {
    if (language == Language::English)
        return translator.load(QStringLiteral(":/translations/parlowen_en.qm"));
    // What Qt itself puts into windows, such as the menu of a text field, is English.
    return translator.load(QLocale(QLocale::Chinese, QLocale::China), QStringLiteral("qtbase"), QStringLiteral("_"),
                           QLibraryInfo::path(QLibraryInfo::TranslationsPath));
}

} // namespace

void translateWindows() {
    static QPointer<QTranslator> installed;
    delete installed; // which takes it out of use
    auto* translator = new QTranslator(QCoreApplication::instance());
    if (load(*translator, windowLanguage()))
        QCoreApplication::installTranslator(translator);
    installed = translator;
}

} // namespace parlowen
