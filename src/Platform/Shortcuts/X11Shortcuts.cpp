#include "X11Shortcuts.h"

#include <Foundation/Phrase.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

// A C header that names a member so.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace parlowen {

namespace {

constexpr Phrase noServer{"the X server cannot be reached", "连不上 X 服务器"};
constexpr Phrase noKey{"this keyboard has no key for %1", "这个键盘上没有 %1 键"};
constexpr Phrase taken{"%1 is taken by another program", "%1 已被其他程序占用"};

constexpr std::uint16_t modifiers = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
// Caps Lock and Num Lock count as modifiers to the server, not to people.
constexpr std::uint16_t locks[] = {0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2, XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// The release before each repetition would look like a finger's.
void leaveReleasesOutOfRepeats(xcb_connection_t* connection) {
    const auto use = xcb_xkb_use_extension(connection, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION);
    const auto flags =
        xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT,
                                 XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT, 0, 0, 0);
    for (const unsigned sequence : {use.sequence, flags.sequence})
        xcb_discard_reply(connection, sequence);
}

QString keysOf(const GlobalShortcut& shortcut) {
    return QStringLiteral("Ctrl+Alt+") + QChar::fromLatin1(shortcut.letter).toUpper();
}

} // namespace

void X11Shortcuts::Disconnect::operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
void X11Shortcuts::FreeSymbols::operator()(_XCBKeySymbols* symbols) const { xcb_key_symbols_free(symbols); }

X11Shortcuts::X11Shortcuts(const QByteArray& display) {
    int screen = 0;
    connection_.reset(xcb_connect(display.constData(), &screen));
    if (xcb_connection_has_error(connection_.get()) != 0)
        return;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_.get()));
    for (; screen > 0 && screens.rem > 1; --screen)
        xcb_screen_next(&screens);
    root_ = screens.data->root;
    symbols_.reset(xcb_key_symbols_alloc(connection_.get()));
    leaveReleasesOutOfRepeats(connection_.get());
}

// The server lets go of what was held with the connection.
X11Shortcuts::~X11Shortcuts() = default;

void X11Shortcuts::bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) {
    shortcuts_ = shortcuts;
    const Result<void> result = grabAll();
    if (result) {
        events_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection_.get()), QSocketNotifier::Read);
        connect(events_.get(), &QSocketNotifier::activated, this, &X11Shortcuts::read);
        read(); // what has come with the answers
    }
    bound(result);
}

Result<void> X11Shortcuts::grabAll() {
    if (symbols_ == nullptr)
        return failure(noServer.here());
    for (const GlobalShortcut& shortcut : shortcuts_) {
        const std::unique_ptr<xcb_keycode_t, Free> codes(
            xcb_key_symbols_get_keycode(symbols_.get(), static_cast<xcb_keysym_t>(shortcut.letter)));
        const bool hasKey = codes != nullptr && *codes != XCB_NO_SYMBOL;
        if (hasKey && grab(*codes)) {
            held_.push_back({*codes, shortcut.id});
            continue;
        }
        release();
        return failure((hasKey ? taken : noKey).here(keysOf(shortcut)));
    }
    return {};
}

bool X11Shortcuts::grab(std::uint8_t keycode) {
    bool all = true;
    for (const std::uint16_t lock : locks) {
        const xcb_void_cookie_t request =
            xcb_grab_key_checked(connection_.get(), 1, root_, static_cast<std::uint16_t>(modifiers | lock), keycode,
                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        const std::unique_ptr<xcb_generic_error_t, Free> error(xcb_request_check(connection_.get(), request));
        all = all && error == nullptr;
    }
    return all;
}

void X11Shortcuts::release() {
    xcb_ungrab_key(connection_.get(), XCB_GRAB_ANY, root_, XCB_MOD_MASK_ANY);
    xcb_flush(connection_.get());
    held_.clear();
}

void X11Shortcuts::read() {
    while (const std::unique_ptr<xcb_generic_event_t, Free> event{xcb_poll_for_event(connection_.get())}) {
        switch (event->response_type & 0x7F) {
        case XCB_KEY_PRESS:
            pressed(reinterpret_cast<const xcb_key_press_event_t*>(event.get())->detail);
            break;
        case XCB_KEY_RELEASE:
            if (down_ == reinterpret_cast<const xcb_key_release_event_t*>(event.get())->detail)
                down_.reset();
            break;
        case XCB_MAPPING_NOTIFY: // another keyboard layout
            xcb_refresh_keyboard_mapping(symbols_.get(), reinterpret_cast<xcb_mapping_notify_event_t*>(event.get()));
            release();
            (void)grabAll(); // what the new layout lacks comes back with the next one
            break;
        default:
            break;
        }
    }
    if (xcb_connection_has_error(connection_.get()) != 0)
        events_->setEnabled(false);
}

/// A key that is held is pressed again and again.
void X11Shortcuts::pressed(std::uint8_t keycode) {
    const auto found = std::ranges::find(held_, keycode, &Held::keycode);
    if (found != held_.end() && std::exchange(down_, keycode) != keycode)
        Q_EMIT activated(found->id);
}

} // namespace parlowen

#include "moc_X11Shortcuts.cpp"
