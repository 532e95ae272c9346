#pragma once
// The port layout of the three plug-ins: one place that both the plug-ins and the Turtle
// writer read, so the descriptions and the code never disagree on an index or a symbol.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>

namespace vk_lv2 {

inline constexpr const char* kBundleUri = "urn:vantoria:lv2";
inline constexpr const char* kBeamformerUri = "urn:vantoria:lv2:beamformer";
inline constexpr const char* kBinauralUri = "urn:vantoria:lv2:binaural";
inline constexpr const char* kEncoderUri = "urn:vantoria:lv2:encoder";
// The decoder's SOFA file, a path parameter in the plug-in's state.
inline constexpr const char* kSofaFileUri = "urn:vantoria:lv2:binaural#sofaFile";
inline constexpr const char* kDefaultSofaFile = "/usr/share/libmysofa/default.sofa";

inline constexpr int kCapsules = 32;
inline constexpr int kAmbixChannels = 16;
inline constexpr int kEars = 2;
// The block the plug-ins run their engine in when the host names no usual length: the
// offline renderer's default; also their latency then.
inline constexpr int kDefaultBlock = 512;

// The block a re-blocking plug-in runs its engine in: the host's usual length, which keeps
// the latency at one of the host's own blocks, when it names a sensible one.
inline constexpr int blockLength(int nominal) { return nominal >= 32 && nominal <= 4096 ? nominal : kDefaultBlock; }

// Yaw, pitch and roll controls (the encoder's mounting, the decoder's head), in degrees,
// three ports in a row: their ranges, and the plug-in's side of them.
inline constexpr std::array<float, 3> kOrientationLimits = {180.0f, 90.0f, 180.0f};
struct COrientationPorts {
    std::array<const float*, 3> ports{};

    // Takes the port when it is one of the three from `first`.
    bool connect(int port, int first, void* data)
    {
        if (port < first || port >= first + 3)
            return false;
        ports[std::size_t(port - first)] = static_cast<const float*>(data);
        return true;
    }
    // The axis' value clamped into its range; 0 when unconnected or not finite.
    float value(int axis) const
    {
        const float* port = ports[std::size_t(axis)];
        const float limit = kOrientationLimits[std::size_t(axis)];
        return port && std::isfinite(*port) ? std::clamp(*port, -limit, limit) : 0.0f;
    }
};

// "capsule_01" ... : the symbol of a numbered port, counting from 1.
inline std::string numbered(const char* stem, int index)
{
    char text[32];
    std::snprintf(text, sizeof text, "%s_%02d", stem, index + 1);
    return text;
}

// Beamformer: 32 capsules in, one output per beam, the latency, the high-pass choice,
// then six controls for each beam.
namespace beamformer {
inline constexpr int kBeams = 18;
enum tBeamControl : int { kAzimuth = 0, kPolar = 1, kPattern = 2, kWng = 3, kGain = 4, kMute = 5, kBeamControls = 6 };
inline constexpr int kFirstInput = 0;
inline constexpr int kFirstOutput = kFirstInput + kCapsules;
inline constexpr int kLatency = kFirstOutput + kBeams;
inline constexpr int kHighpass = kLatency + 1;
inline constexpr int kFirstBeamControl = kHighpass + 1;
inline constexpr int kPortCount = kFirstBeamControl + kBeams * kBeamControls;
inline constexpr int beamControl(int beam, int control) { return kFirstBeamControl + beam * kBeamControls + control; }
// Ranges of the beam controls; the plug-in clamps every value into them.
inline constexpr float kMinGainDb = -20.0f;
inline constexpr float kMaxGainDb = 20.0f;
inline constexpr float kMaxPolar = 180.0f;
inline constexpr float kMaxAzimuth = 360.0f;
// Beams start spread round the equator, one every 20 degrees.
inline constexpr float kDefaultAzimuthStep = 20.0f;
inline constexpr float kDefaultPolar = 90.0f;
} // namespace beamformer

// Binaural decoder: 16 AmbiX channels in, two ears out, the latency, the head's
// orientation, and an atom port each way for the SOFA file parameter.
namespace binaural {
enum tPort : int {
    kFirstInput = 0,
    kFirstOutput = kFirstInput + kAmbixChannels,
    kLatency = kFirstOutput + kEars,
    kYaw,
    kPitch,
    kRoll,
    kControl,
    kNotify,
    kPortCount,
};
} // namespace binaural

// Ambisonics encoder: 32 capsules in, 16 AmbiX channels out, the latency and the
// mounting's orientation.
namespace encoder {
enum tPort : int {
    kFirstInput = 0,
    kFirstOutput = kFirstInput + kCapsules,
    kLatency = kFirstOutput + kAmbixChannels,
    kYaw,
    kPitch,
    kRoll,
    kPortCount,
};
} // namespace encoder

} // namespace vk_lv2
