#include "QrCode.h"

#include <memory>
#include <qrencode.h>
#include <stdexcept>

namespace parlowen::service {

Picture qrCode(const std::string& text, int pixelsOfAModule) {
    constexpr int quiet = 4;
    const std::unique_ptr<QRcode, void (*)(QRcode*)> code(QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M),
                                                          QRcode_free);
    if (!code)
        throw std::runtime_error("no QR code can be made of a text of " + std::to_string(text.size()) + " bytes");
    const int modules = code->width + 2 * quiet;
    Picture picture(modules * pixelsOfAModule, modules * pixelsOfAModule, {255, 255, 255, 255});
    const auto isBlack = [&](int x, int y) {
        const bool inside = x >= 0 && y >= 0 && x < code->width && y < code->width;
        return inside && (code->data[y * code->width + x] & 1) != 0;
    };
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            if (isBlack(x / pixelsOfAModule - quiet, y / pixelsOfAModule - quiet))
                picture.at(x, y) = {0, 0, 0, 255};
    return picture;
}

} // namespace parlowen::service
