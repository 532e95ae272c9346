#include "remote/COscParser.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <strings.h>

namespace {
constexpr const char* kHeadPath = "/vantoria/ypr";
constexpr const char* kQuaternionPath = "/vantoria/quaternion";
constexpr const char* kBeamPrefix = "/vantoria/beam/";
// More digits than any beam number needs: "0007" is refused rather than read as 7 forever.
constexpr int kMaxBeamDigits = 3;

// An argument as a number, for the four numeric OSC types; false for any other type or a
// value that is not finite.
bool number(char type, const lo_arg* arg, double& value)
{
    switch (type) {
    case LO_FLOAT: value = arg->f; break;
    case LO_DOUBLE: value = arg->d; break;
    case LO_INT32: value = arg->i; break;
    case LO_INT64: value = static_cast<double>(arg->h); break;
    default: return false;
    }
    return std::isfinite(value);
}

// `count` numeric arguments into values[0..count).
bool numbers(const char* types, lo_arg** argv, int argc, int count, double* values)
{
    if (argc != count || static_cast<int>(std::strlen(types)) != count)
        return false;
    for (int i = 0; i < count; ++i)
        if (!number(types[i], argv[i], values[i]))
            return false;
    return true;
}
} // namespace

COscParser::COscParser(std::vector<std::string> patternNames, int maxBeams)
    : mPatternNames(std::move(patternNames))
    , mMaxBeams(std::max(0, maxBeams))
    , mBeamCount(mMaxBeams)
{
}

void COscParser::setBeamCount(int count)
{
    mBeamCount.store(std::clamp(count, 0, mMaxBeams), std::memory_order_relaxed);
}

bool COscParser::parse(const char* path, const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const
{
    if (!path || !types || (argc > 0 && !argv))
        return false;
    if (std::strcmp(path, kHeadPath) == 0)
        return parseHead(types, argv, argc, out);
    if (std::strcmp(path, kQuaternionPath) == 0)
        return parseQuaternion(types, argv, argc, out);
    const std::size_t prefix = std::strlen(kBeamPrefix);
    if (std::strncmp(path, kBeamPrefix, prefix) == 0)
        return parseBeam(path + prefix, types, argv, argc, out);
    return false;
}

bool COscParser::parseHead(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const
{
    double v[3];
    if (!numbers(types, argv, argc, 3, v))
        return false;
    const float yaw = static_cast<float>(v[0]);
    const float pitch = static_cast<float>(v[1]);
    const float roll = static_cast<float>(v[2]);
    // A double beyond float's range becomes infinite on the way.
    if (!std::isfinite(yaw) || !std::isfinite(pitch) || !std::isfinite(roll))
        return false;
    out = CRemoteCommand{CRemoteCommand::Kind::head, 0, yaw, pitch, roll, 0};
    return true;
}

bool COscParser::parseQuaternion(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const
{
    double q[4];
    CYawPitchRoll angles;
    if (!numbers(types, argv, argc, 4, q) || !yawPitchRollFromQuaternion(q[0], q[1], q[2], q[3], angles))
        return false;
    out = CRemoteCommand{CRemoteCommand::Kind::head, 0, angles.yaw, angles.pitch, angles.roll, 0};
    return true;
}

// `rest` is what follows the prefix: "N/aed" or "N/pattern".
bool COscParser::parseBeam(const char* rest, const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const
{
    int beam = 0;
    int digits = 0;
    for (; rest[digits] >= '0' && rest[digits] <= '9'; ++digits) {
        if (digits == kMaxBeamDigits)
            return false;
        beam = beam * 10 + (rest[digits] - '0');
    }
    if (digits == 0 || beam < 1 || beam > beamCount())
        return false;
    const char* leaf = rest + digits;
    CRemoteCommand command;
    if (std::strcmp(leaf, "/aed") == 0) {
        if (!parseDirection(types, argv, argc, command))
            return false;
    } else if (std::strcmp(leaf, "/pattern") == 0) {
        if (!parsePattern(types, argv, argc, command))
            return false;
    } else {
        return false;
    }
    command.beam = beam - 1;
    out = command;
    return true;
}

bool COscParser::parseDirection(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const
{
    double v[3];
    if (!numbers(types, argv, argc, 3, v) || v[1] < -90.0 || v[1] > 90.0 || v[2] < 0.0)
        return false;
    const float azimuth = static_cast<float>(v[0]);
    const float distance = static_cast<float>(v[2]);
    if (!std::isfinite(azimuth) || !std::isfinite(distance))
        return false;
    out.kind = CRemoteCommand::Kind::beamDirection;
    out.a = azimuth;
    out.b = static_cast<float>(v[1]);
    out.c = distance;
    return true;
}

bool COscParser::parsePattern(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const
{
    if (argc != 1 || std::strlen(types) != 1)
        return false;
    int pattern = -1;
    double value = 0.0;
    if (types[0] == LO_STRING || types[0] == LO_SYMBOL)
        pattern = patternOfName(&argv[0]->s);
    else if (number(types[0], argv[0], value) && value == std::floor(value) && value >= 0.0 &&
             value < static_cast<double>(mPatternNames.size()))
        pattern = static_cast<int>(value);
    if (pattern < 0)
        return false;
    out.kind = CRemoteCommand::Kind::beamPattern;
    out.pattern = pattern;
    return true;
}

int COscParser::patternOfName(const char* name) const
{
    for (std::size_t p = 0; p < mPatternNames.size(); ++p)
        if (strcasecmp(mPatternNames[p].c_str(), name) == 0)
            return static_cast<int>(p);
    return -1;
}
