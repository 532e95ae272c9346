#include "remote/CRemoteControl.h"

#include "ambisonics/ModeToAmbix.h"
#include "session/CGraphSession.h"

#include <vector>

static_assert(CGraphSession::kMaxBeams <= 32, "CRemoteControl::Changes holds a bit per beam");

namespace {
// The names of the graph's pattern catalogue, in its order.
std::vector<std::string> patternNames(const CAudioGraph& graph)
{
    std::vector<std::string> names;
    for (int p = 0; p < graph.patternCount(); ++p) {
        int size = 0;
        graph.patternInfo(p, &size, nullptr, nullptr, nullptr);
        std::vector<char> name(static_cast<std::size_t>(size) + 1, '\0');
        graph.patternNames(p, name.data(), nullptr, nullptr);
        names.emplace_back(name.data());
    }
    return names;
}
} // namespace

CRemoteControl::CRemoteControl(CGraphSession& session)
    : mSession(session)
    , mBeamCount(CGraphSession::kMaxBeams)
{
}

CRemoteControl::~CRemoteControl() = default;

bool CRemoteControl::start(int port, std::string& message)
{
    stop();
    if (!mSession.graph()) {
        message = "OSC cannot start before the audio graph runs";
        return false;
    }
    mServer = std::make_unique<COscServer>(patternNames(*mSession.graph()), CGraphSession::kMaxBeams);
    mServer->setBeamCount(mBeamCount);
    return mServer->start(port, message);
}

void CRemoteControl::stop()
{
    if (mServer)
        mServer->stop();
}

void CRemoteControl::setBeamCount(int count)
{
    mBeamCount = count;
    if (mServer)
        mServer->setBeamCount(count);
}

CRemoteControl::Changes CRemoteControl::apply()
{
    Changes changes;
    if (!mServer)
        return changes;
    CRemoteCommand c;
    while (mServer->next(c)) {
        switch (c.kind) {
        case CRemoteCommand::Kind::head:
            changes.head |= mSession.setHeadOrientation({c.a, c.b, c.c}) == 0;
            break;
        case CRemoteCommand::Kind::beamDirection:
            steer(c.beam, c.a, c.b);
            changes.direction.set(static_cast<std::size_t>(c.beam));
            break;
        case CRemoteCommand::Kind::beamPattern:
            setPattern(c.beam, c.pattern);
            changes.pattern.set(static_cast<std::size_t>(c.beam));
            break;
        }
    }
    return changes;
}

void CRemoteControl::steer(int beam, float azimuth, float elevation)
{
    const CGraphSession::Orientation& m = mSession.mounting();
    const ArrayAngles a = arrayAnglesFromAmbix(azimuth, elevation, CRotation3::fromYawPitchRoll(m.yaw, m.pitch, m.roll));
    mSession.steer(beam, static_cast<float>(a.theta), static_cast<float>(a.phi));
}

// The beam keeps its parameter where the new pattern has that many, else takes the first.
void CRemoteControl::setPattern(int beam, int pattern)
{
    int parameters = 0;
    if (mSession.graph())
        mSession.graph()->patternInfo(pattern, nullptr, nullptr, &parameters, nullptr);
    const int parameter = mSession.beam(beam).parameter;
    mSession.setPattern(beam, pattern, parameter < parameters ? parameter : 0);
}
