#include "SliderPuzzle.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace parlowen::service {

namespace {

constexpr int size = SliderPuzzle::pieceSize;
constexpr int farthestLeft = 80; // so far the hole is from where the piece begins, at least
constexpr double square = 36;    // edge of the piece's square, pixels
constexpr double knob = 9;       // radius of what stands out of it or is cut into it

std::uint8_t toByte(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0)); }

Pixel mixed(const Pixel& below, const Pixel& above, double share) {
    const auto mix = [share](std::uint8_t a, std::uint8_t b) { return toByte(a + (b - a) * share); };
    return {mix(below.red, above.red), mix(below.green, above.green), mix(below.blue, above.blue), below.alpha};
}

Pixel randomColour(const RandomBelow& random) {
    return {toByte(40 + random(190)), toByte(60 + random(170)), toByte(80 + random(170)), 255};
}

/// Two colours that run into each other, circles of others, and grain.
Picture scenery(const RandomBelow& random) {
    Picture picture(SliderPuzzle::width, SliderPuzzle::height);
    const Pixel first = randomColour(random);
    const Pixel second = randomColour(random);
    const double angle = random(628) / 100.0;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            picture.at(x, y) =
                mixed(first, second, 0.5 + 0.5 * std::sin((x * std::cos(angle) + y * std::sin(angle)) / 60));
    for (int i = 0; i < 26; ++i) {
        const Pixel colour = randomColour(random);
        const double centreX = random(SliderPuzzle::width);
        const double centreY = random(SliderPuzzle::height);
        const double radius = 8 + random(34);
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x)
                if (std::hypot(x - centreX, y - centreY) < radius)
                    picture.at(x, y) = mixed(picture.at(x, y), colour, 0.45);
    }
    for (Pixel& pixel : picture.pixels) {
        const double grain = static_cast<double>(random(13)) - 6;
        pixel = {toByte(pixel.red + grain), toByte(pixel.green + grain), toByte(pixel.blue + grain), 255};
    }
    return picture;
}

/// How far inside the piece's form a pixel of its picture lies, in pixels; negative outside. The knobs' sides: those
/// on which one stands out; on the others one is cut in.
double depthInForm(double x, double y, bool topOut, bool rightOut) {
    const double middle = size / 2.0;
    const double half = square / 2;
    const double inSquare = half - std::max(std::abs(x - middle), std::abs(y - middle));
    const double topKnob = knob - std::hypot(x - middle, y - (middle - half));
    const double rightKnob = knob - std::hypot(x - (middle + half), y - middle);
    double depth = topOut ? std::max(inSquare, topKnob) : std::min(inSquare, -topKnob);
    depth = rightOut ? std::max(depth, rightKnob) : std::min(depth, -rightKnob);
    return depth;
}

/// Darkens a form in a picture, with grain of its own, and a bright rim.
void cut(Picture& picture, int left, int top, bool topOut, bool rightOut, const RandomBelow& random) {
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double depth = depthInForm(x, y, topOut, rightOut);
            if (depth <= 0)
                continue;
            Pixel& pixel = picture.at(left + x, top + y);
            const double share = 0.52 + random(12) / 100.0;
            pixel = depth < 1.5 ? mixed(pixel, {255, 255, 255, 255}, 0.55) : mixed(pixel, {10, 14, 20, 255}, share);
        }
    }
}

Picture pieceOf(const Picture& picture, int left, int top, bool topOut, bool rightOut) {
    Picture piece(size, size, {0, 0, 0, 0});
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double depth = depthInForm(x, y, topOut, rightOut);
            if (depth <= 0)
                continue;
            const Pixel& pixel = picture.at(left + x, top + y);
            piece.at(x, y) = depth < 2 ? mixed(pixel, {255, 255, 255, 255}, 0.75) : pixel;
        }
    }
    return piece;
}

} // namespace

SliderPuzzle drawPuzzle(const RandomBelow& random) {
    const auto below = [&](int bound) { return static_cast<int>(random(static_cast<std::uint32_t>(bound))); };
    std::minstd_rand scatter(1 + random(1'000'000'000)); // for what need not be secret
    const RandomBelow fast = [&scatter](std::uint32_t bound) { return static_cast<std::uint32_t>(scatter()) % bound; };
    Picture picture = scenery(fast);
    const int x = farthestLeft + below(SliderPuzzle::width - size - farthestLeft);
    const int y = below(SliderPuzzle::height - size);
    const bool topOut = below(2) == 1;
    const bool rightOut = below(2) == 1;
    Picture piece = pieceOf(picture, x, y, topOut, rightOut);
    cut(picture, x, y, topOut, rightOut, fast);
    const int decoyX = (x + size + below(SliderPuzzle::width - 2 * size)) % (SliderPuzzle::width - size);
    if (std::abs(decoyX - x) >= size)
        cut(picture, decoyX, below(SliderPuzzle::height - size), !topOut, !rightOut, fast);
    return {std::move(picture), std::move(piece), x, y};
}

} // namespace parlowen::service
