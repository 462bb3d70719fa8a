#include "Sheet.h"

#include <Foundation/ChosenLanguage.h>
#include <Tools/PopView/Translation.h>

#include <gmock/gmock.h>

#include <QApplication>
#include <QFileInfo>
#include <cstdio>

using namespace parlowen;

/// screenshots FOLDER [en|zh]: draws every look, in that language, then writes the pages into the folder.
int main(int argc, char** argv) {
    ::testing::InitGoogleMock(&argc, argv);
    const QApplication application(argc, argv);
    QApplication::setCursorFlashTime(0); // a text cursor that blinks would differ from run to run
    const QStringList arguments = QCoreApplication::arguments();
    const auto language = languageOfCode(arguments.value(2, QStringLiteral("zh")));
    if (arguments.size() < 2 || !QFileInfo(arguments[1]).isDir() || !language) {
        std::fputs("Usage: screenshots FOLDER [en|zh]\n", stderr);
        return 2;
    }
    chooseLanguage(language);
    translateWindows();
    const int failed = RUN_ALL_TESTS(); // what was drawn all the same is worth a look
    if (!parlowen::screenshots::Sheet::shared().write(arguments[1])) {
        std::fprintf(stderr, "Cannot write the pages to %s\n", qPrintable(arguments[1]));
        return 1;
    }
    return failed;
}
