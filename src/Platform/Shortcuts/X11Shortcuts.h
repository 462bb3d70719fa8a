#pragma once

#include "GlobalShortcuts.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <cstdint>
#include <memory>
#include <optional>

struct xcb_connection_t;
struct _XCBKeySymbols;

namespace parlowen {

/// Shortcuts that the X server is asked for, over a connection of its own. Other programs keep every other key; a
/// combination that one of them holds already is not taken from it, and then none is taken at all.
class X11Shortcuts : public GlobalShortcuts {
    Q_OBJECT
public:
    /// The name of a display, such as ":0".
    explicit X11Shortcuts(const QByteArray& display);
    ~X11Shortcuts() override;

    void bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) override;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };
    struct FreeSymbols {
        void operator()(_XCBKeySymbols* symbols) const;
    };
    struct Held {
        std::uint8_t keycode;
        QString id;
    };

    Result<void> grabAll();
    bool grab(std::uint8_t keycode);
    void release();
    void read();
    void pressed(std::uint8_t keycode);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    std::unique_ptr<_XCBKeySymbols, FreeSymbols> symbols_;
    std::uint32_t root_ = 0;
    std::unique_ptr<QSocketNotifier> events_;
    std::vector<GlobalShortcut> shortcuts_;
    std::vector<Held> held_;
    std::optional<std::uint8_t> down_; ///< the one of them that is held now
};

} // namespace parlowen
