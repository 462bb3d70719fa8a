#include "WireValues.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <random>

namespace parlowen::wire {

namespace {

void appendLittleEndian(std::string& bytes, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<char>(value >> static_cast<unsigned>(8 * i) & 0xFFU));
}

} // namespace

std::string guidWithoutDashes() {
    std::random_device source;
    std::array<char, 33> digits{};
    std::string guid;
    for (int word = 0; word < 4; ++word) {
        std::snprintf(digits.data(), digits.size(), "%08x", static_cast<unsigned>(source()));
        guid += digits.data();
    }
    guid[12] = '4'; // a random GUID says of itself that it is one
    guid[16] = "89ab"[source() % 4];
    return guid;
}

std::string timestampNow() {
    using namespace std::chrono;
    const auto sinceEpoch = system_clock::now().time_since_epoch();
    const std::time_t seconds = duration_cast<std::chrono::seconds>(sinceEpoch).count();
    const auto milliseconds = static_cast<int>(duration_cast<std::chrono::milliseconds>(sinceEpoch).count() % 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text.data() + length, text.size() - length, ".%03dZ", milliseconds);
    return text.data();
}

std::string waveHeader(std::uint32_t sampleRate, std::uint16_t channels, std::uint16_t bitsPerSample) {
    constexpr std::uint32_t formatChunkLength = 16;
    constexpr std::uint32_t integerPcm = 1;
    const std::uint32_t bytesPerFrame = std::uint32_t{channels} * bitsPerSample / 8;
    std::string header = "RIFF";
    appendLittleEndian(header, 0, 4);
    header += "WAVEfmt ";
    appendLittleEndian(header, formatChunkLength, 4);
    appendLittleEndian(header, integerPcm, 2);
    appendLittleEndian(header, channels, 2);
    appendLittleEndian(header, sampleRate, 4);
    appendLittleEndian(header, sampleRate * bytesPerFrame, 4);
    appendLittleEndian(header, bytesPerFrame, 2);
    appendLittleEndian(header, bitsPerSample, 2);
    header += "data";
    appendLittleEndian(header, 0, 4);
    return header;
}

} // namespace parlowen::wire
