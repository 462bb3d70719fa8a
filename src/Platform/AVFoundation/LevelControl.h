#pragma once

#include <array>
#include <cstddef>

namespace parlowen {

/// Brings quiet speech to a level that recognisers like, while there are still more than 16 bits of it. A value; one
/// stream of mono sound, full scale 1.0.
///
/// Speech is told from noise, hum and most music by its syllables: rises and falls of 8 dB and more that take 40 ms to
/// 1.2 s. Their peaks, of the level over some 30 ms, are the speech's loudness: the second highest of the last 24
/// counts, so that one knock does not; of the last five alone when all of them are 20 dB below that, since somebody has
/// turned the volume down. Sound without syllables never changes the gain.
///
/// - Speech whose syllables peak at -30 dB or more passes as it is, bit for bit. More quiet speech is brought to -20 dB
///   by at most 60 dB, and by no more than brings its pauses to -50 dB; once it is, so is what lies between the two.
/// - The gain rises from the third syllable on, by 40 dB a second; it falls ten times as fast, and stays in pauses.
/// - It never makes a sample louder than -3 dB: a loud voice after a quiet one finds the gain taken back already, since
///   a piece of 10 ms is measured before it is changed. Sound is not delayed.
class LevelControl {
public:
    static constexpr double mostGain = 60; ///< dB

    /// For sound of that rate, Hz.
    explicit LevelControl(double sampleRate);

    /// The next samples of the stream, changed in place.
    void apply(float* samples, std::size_t count);

    /// The gain behind the last sample, dB; 0 to mostGain.
    double gain() const { return gain_; }

private:
    void applyPiece(float* samples, std::size_t count);
    void follow(double level, double seconds);
    void addSyllable(double peak);
    void trackFloor(double level, double seconds);
    double loudness() const;
    double wantedGain() const;

    static constexpr std::size_t kept = 24;        ///< syllables
    static constexpr std::size_t floorWindows = 8; ///< of half a second each
    static constexpr double lowest = -120;         ///< dB; what is more quiet counts as this

    double sampleRate_;
    std::size_t pieceLength_;
    std::array<double, 3> powers_{}; ///< of the last pieces
    std::size_t nextPower_ = 0;

    bool rising_ = false;     ///< a syllable has begun
    double extreme_ = lowest; ///< dB; the highest level of the syllable, else the lowest since the last one
    double sinceRise_ = 0;    ///< seconds
    std::array<double, kept> syllables_{};
    std::size_t syllableCount_ = 0;
    std::size_t quietInARow_ = 0; ///< syllables far below the loudness

    std::array<double, floorWindows> floors_{}; ///< the lowest level of each window, the present one included
    std::size_t window_ = 0;
    double inWindow_ = 0; ///< seconds
    bool heardAny_ = false;

    double wanted_ = 0; ///< dB
    double gain_ = 0;   ///< dB
    float factor_ = 1;  ///< the same, linear
};

} // namespace parlowen
