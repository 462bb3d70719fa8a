#pragma once

#include <QString>
#include <tl/expected.hpp>

/// What a call gives that can fail: a value, or the text of the problem, ready to be shown or logged. The one way in
/// which errors are returned in the application; `Result<void>` where there is no value. `if (const Result<void> opened
/// = open(); !opened) say(opened.error());`
template<typename Value>
using Result = tl::expected<Value, QString>;

/// The failed result with that text.
inline tl::unexpected<QString> failure(QString text) { return tl::make_unexpected(std::move(text)); }
