#pragma once
// Reads one OSC message (path, type tags, arguments as liblo gives them) as a remote
// command, or refuses it. The messages:
//   /vantoria/ypr f f f           head yaw, pitch, roll in degrees
//   /vantoria/quaternion f f f f  head rotation w, x, y, z (normalised here)
//   /vantoria/beam/N/aed f f f    beam N (from 1): azimuth, elevation (-90..90), distance (>= 0)
//   /vantoria/beam/N/pattern i|s  beam N's pattern: catalogue index from 0, or its name
// Numbers may come as int32, int64, float or double, since many senders send integers;
// a pattern index may also come as a float with an integral value. Anything else (another
// path, other types, a wrong count, a beam out of range, a value that is not finite, an
// unknown pattern) is refused. The catalogue's names are copied once, before the OSC thread
// starts; the beam count may change at any time.
// parse: any one thread at a time; no allocation, no lock.

#include "remote/CRemoteCommand.h"
#include "remote/HeadQuaternion.h"

#include <lo/lo.h>

#include <atomic>
#include <string>
#include <vector>

class COscParser {
public:
    // The pattern names in catalogue order (index = position), compared without case, and
    // the most beams a message may address; all of them are addressed at first.
    COscParser(std::vector<std::string> patternNames, int maxBeams);

    // Beams 1..count are addressed; limited to 0..maxBeams.
    void setBeamCount(int count);
    int beamCount() const { return mBeamCount.load(std::memory_order_relaxed); }

    // True and `out` filled for a valid message; false for anything else.
    bool parse(const char* path, const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const;

private:
    bool parseHead(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const;
    bool parseQuaternion(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const;
    bool parseBeam(const char* rest, const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const;
    bool parseDirection(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const;
    bool parsePattern(const char* types, lo_arg** argv, int argc, CRemoteCommand& out) const;
    int patternOfName(const char* name) const;

    std::vector<std::string> mPatternNames;
    int mMaxBeams;
    std::atomic<int> mBeamCount;
};
