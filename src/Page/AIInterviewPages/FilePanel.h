#pragma once

#include <QStringList>

class QFileDialog;
class QWidget;

/// The desktop's own panel for choosing a file.
namespace parlowen {

/// Has the panel come from the desktop's portal where one is running that offers it, unless the environment names
/// another source. Before the application object is made.
void preferPanelOfPortal();

/// A modeless panel for one existing local file of the given types, endings without a dot, under the name that they
/// have together. It is deleted when it is closed.
QFileDialog* makeFilePanel(const QString& title, const QString& kind, const QStringList& types, QWidget* parent);

} // namespace parlowen
