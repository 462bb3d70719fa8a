#pragma once

#include <QMenu>

namespace parlowen {

class ReadingList;
class SessionWindow;

/// The session window's context menu: copying from the list that it is asked for on, the lists' font, and how opaque
/// the window's ground is. It deletes itself when it closes.
class SessionMenu : public QMenu {
    Q_OBJECT
public:
    /// Without a list it offers nothing to copy.
    SessionMenu(SessionWindow* window, ReadingList* list);

private:
    QAction* add(const char* name, const QString& text, const QKeySequence& keys, bool enabled);
    void addCopying(ReadingList* list);
    void addFont(SessionWindow* window);
    void addOpacity(SessionWindow* window);
};

} // namespace parlowen
