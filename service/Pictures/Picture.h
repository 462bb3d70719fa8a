#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace parlowen::service {

/// One pixel: red, green, blue, and how much it covers (0 to 255), not premultiplied.
struct Pixel {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;
};

/// A picture in memory, row by row from the top left.
struct Picture {
    Picture(int pictureWidth, int pictureHeight, Pixel fill = {})
        : width(pictureWidth)
        , height(pictureHeight)
        , pixels(static_cast<std::size_t>(pictureWidth) * static_cast<std::size_t>(pictureHeight), fill) {}

    Pixel& at(int x, int y) { return pixels[indexOf(x, y)]; }
    const Pixel& at(int x, int y) const { return pixels[indexOf(x, y)]; }

    int width;
    int height;
    std::vector<Pixel> pixels;

private:
    std::size_t indexOf(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    }
};

/// The bytes of a PNG file. Throws std::runtime_error.
std::string toPng(const Picture& picture);

} // namespace parlowen::service
