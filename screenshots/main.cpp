#include "Sheet.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QFileInfo>
#include <cstdio>

/// screenshots FOLDER: draws every look, then writes the pages into the folder.
int main(int argc, char** argv) {
    ::testing::InitGoogleMock(&argc, argv);
    const QApplication application(argc, argv);
    QApplication::setCursorFlashTime(0); // a text cursor that blinks would differ from run to run
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2 || !QFileInfo(arguments[1]).isDir()) {
        std::fputs("Usage: screenshots FOLDER\n", stderr);
        return 2;
    }
    if (RUN_ALL_TESTS() != 0)
        return 1;
    if (!parlowen::screenshots::Sheet::shared().write(arguments[1])) {
        std::fprintf(stderr, "Cannot write the pages to %s\n", qPrintable(arguments[1]));
        return 1;
    }
    return 0;
}
