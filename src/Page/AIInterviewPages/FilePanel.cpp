#include "FilePanel.h"

#include <QDir>
#include <QFileDialog>
#include <QStandardPaths>
#include <QUrl>
#include <algorithm>

namespace parlowen {

namespace {

/// Whether a file in one of the folders of shared data matches and holds the text.
bool sharedDataHolds(const QString& folder, const QString& pattern, const QByteArray& text) {
    const QStringList roots = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    return std::any_of(roots.begin(), roots.end(), [&](const QString& root) {
        const QFileInfoList files = QDir(root + folder).entryInfoList({pattern}, QDir::Files);
        return std::any_of(files.begin(), files.end(), [&text](const QFileInfo& info) {
            QFile file(info.filePath());
            return file.open(QIODevice::ReadOnly) && file.readAll().contains(text);
        });
    });
}

bool hasSessionBus() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

} // namespace

void preferPanelOfPortal() {
    const char* const source = "QT_QPA_PLATFORMTHEME";
    if (!qEnvironmentVariableIsSet(source) && hasSessionBus() &&
        sharedDataHolds("/dbus-1/services", "org.freedesktop.portal.Desktop.service", "Exec") &&
        sharedDataHolds("/xdg-desktop-portal/portals", "*.portal", "org.freedesktop.impl.portal.FileChooser"))
        qputenv(source, "xdgdesktopportal"); // the desktop's own theme still gives everything else
}

QFileDialog* makeFilePanel(const QString& title, const QString& kind, const QStringList& types, QWidget* parent) {
    QStringList patterns; // file systems tell apart "cv.pdf" and "CV.PDF"
    for (const QString& type : types)
        patterns << "*." + type << "*." + type.toUpper();
    auto* panel = new QFileDialog(parent, title);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setFileMode(QFileDialog::ExistingFile);
    panel->setSupportedSchemes({QStringLiteral("file")});
    panel->setOption(QFileDialog::HideNameFilterDetails);
    panel->setNameFilter(QStringLiteral("%1 (%2)").arg(kind, patterns.join(' ')));
    panel->setLabelText(QFileDialog::LookIn, QFileDialog::tr("位置："));
    panel->setLabelText(QFileDialog::FileName, QFileDialog::tr("文件名："));
    panel->setLabelText(QFileDialog::FileType, QFileDialog::tr("类型："));
    panel->setLabelText(QFileDialog::Accept, QFileDialog::tr("打开"));
    panel->setLabelText(QFileDialog::Reject, QFileDialog::tr("取消"));
    static QString lastFolder; // whoever takes a second file takes it from beside the first
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (lastFolder.isEmpty() || !QDir(lastFolder).exists())
        lastFolder = QDir(documents).exists() ? documents : QDir::homePath();
    panel->setDirectory(lastFolder);
    QObject::connect(panel, &QFileDialog::accepted, panel, [panel] {
        if (const QList<QUrl> files = panel->selectedUrls(); !files.isEmpty())
            lastFolder = QFileInfo(files.front().toLocalFile()).absolutePath();
    });
    return panel;
}

} // namespace parlowen
