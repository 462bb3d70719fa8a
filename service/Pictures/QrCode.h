#pragma once

#include "Picture.h"

#include <string>

namespace parlowen::service {

/// A QR code of a UTF-8 text with a quiet zone of four modules, in black and white, each module some pixels wide.
/// Throws std::runtime_error for an empty text and for one that is too long for a code.
Picture qrCode(const std::string& text, int pixelsOfAModule = 8);

} // namespace parlowen::service
