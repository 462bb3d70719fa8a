#pragma once

#include "Protocol/Frames.h"

#include <array>
#include <filesystem>
#include <functional>
#include <memory>

namespace parlowen::recogniser {

struct SherpaLibrary;

/// Tells window by window whether somebody speaks. It says so `onsetDelay` after speech began, and stops saying so
/// `closeDelay` after it ended.
class VoiceDetector {
public:
    static constexpr std::size_t windowLength = 512; ///< samples
    using Window = std::array<float, windowLength>;
    /// The shortest speech that counts, and what the detector itself needs.
    static constexpr std::int64_t onsetDelay = sampleRate * 6 / 100 + sampleRate * 72 / 1000;
    static constexpr std::int64_t closeDelay = sampleRate * 3 / 10;

    virtual ~VoiceDetector() = default;
    virtual bool feed(const Window& window) = 0;
    /// The last samples, in which certainly nobody spoke. 0 when it knows of no pause before it says so.
    virtual std::int64_t quiet() const { return 0; }
};

using DetectorFactory = std::function<std::unique_ptr<VoiceDetector>()>;

/// Silero's network (version 5 or 6), which all detectors of the factory share: one of its own would cost 10 MB each.
/// Throws std::runtime_error when it cannot be loaded.
DetectorFactory sileroDetectors(const SherpaLibrary& library, const std::filesystem::path& model);

} // namespace parlowen::recogniser
