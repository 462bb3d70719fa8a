#include "Sheet.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <cstdio>

/// screenshots FILE.png: draws the sheet, then writes it.
int main(int argc, char** argv) {
    ::testing::InitGoogleMock(&argc, argv);
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2) {
        std::fputs("Usage: screenshots FILE.png\n", stderr);
        return 2;
    }
    if (RUN_ALL_TESTS() != 0)
        return 1;
    if (!parlowen::screenshots::Sheet::shared().compose().save(arguments[1])) {
        std::fprintf(stderr, "Cannot write %s\n", qPrintable(arguments[1]));
        return 1;
    }
    return 0;
}
