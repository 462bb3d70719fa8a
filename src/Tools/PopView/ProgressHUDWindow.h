#pragma once

#include <QWidget>

namespace parlowen {

/// A clear borderless window over the first screen, above ordinary windows, that stands while the overlay is shown over
/// the application's main window. It takes no input and no focus, and draws nothing.
class ProgressHUDWindow : public QWidget {
    Q_OBJECT
public:
    ProgressHUDWindow();

    /// Covers the first screen.
    void present();
};

} // namespace parlowen
