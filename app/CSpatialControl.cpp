#include "app/CSpatialControl.h"

#include "app/CBeamPanel.h"
#include "app/CBinauralOptions.h"
#include "app/CMountingOptions.h"
#include "session/CSession.h"

namespace {
const QString kHrtfRefused = QStringLiteral("The ear responses of %1 cannot be used: %2\nThe previous set stays in use.");
} // namespace

CSpatialControl::CSpatialControl(CSession& session, CBeamPanel& beams, Warn warn, QObject* parent)
    : QObject(parent)
    , mSession(session)
    , mBeams(beams)
    , mWarn(std::move(warn))
    , mRemote(session.values())
{
    connect(&mSession, &CSession::hrtfLoaded, this, &CSpatialControl::showHrtfOutcome);
}

CSpatialControl::~CSpatialControl() = default;

void CSpatialControl::attach(CMountingOptions* mounting, CBinauralOptions* binaural)
{
    const CZircSettings& s = mSession.settings();
    mounting->setMounting(s.mMountingYaw, s.mMountingPitch, s.mMountingRoll);
    binaural->setHrtfFile(QString::fromStdString(mSession.values().hrtfPath()));
    binaural->setHead(s.mHeadYaw, s.mHeadPitch, s.mHeadRoll);
    binaural->setOsc(s.mOscEnabled, s.mOscPort);
    mPage = binaural;
    connect(mounting, &CMountingOptions::mountingChanged, this, &CSpatialControl::setMounting);
    connect(binaural, &CBinauralOptions::hrtfFileRequested, this, &CSpatialControl::requestHrtf);
    connect(binaural, &CBinauralOptions::headChanged, this, &CSpatialControl::setHead);
    connect(binaural, &CBinauralOptions::oscChanged, this, &CSpatialControl::setOsc);
    if (s.mOscEnabled)
        startOsc();
    mPage->setOscState(oscState());
}

void CSpatialControl::poll()
{
    const CRemoteControl::Changes changes = mRemote.apply();
    if (changes.head) {
        // What the tracker set is what the head fields show and the settings keep.
        const CGraphSession::Orientation head = mSession.values().head();
        mSession.setHeadOrientation(head);
        if (mPage)
            mPage->setHead(head.yaw, head.pitch, head.roll);
    }
    for (int beam = 0; beam < CGraphSession::kMaxBeams; ++beam)
        if (changes.direction.test(static_cast<std::size_t>(beam)) || changes.pattern.test(static_cast<std::size_t>(beam)))
            mBeams.showBeam(beam);
    if (mPage && mRemote.running())
        mPage->setOscState(oscState());
}

QString CSpatialControl::statusNote() const
{
    return QStringLiteral("binaural +%1 samples  |  %2").arg(mSession.binauralLatency()).arg(oscState());
}

void CSpatialControl::setMounting(float yaw, float pitch, float roll)
{
    mSession.setMountingOrientation({yaw, pitch, roll});
}

void CSpatialControl::requestHrtf(const QString& path) { mSession.loadHrtf(path); }

void CSpatialControl::setHead(float yaw, float pitch, float roll) { mSession.setHeadOrientation({yaw, pitch, roll}); }

// Off stops the server; on (or a new port while on) starts it. A port that cannot be
// opened is said once and the box goes off again, so the page never claims a server that
// does not listen.
void CSpatialControl::setOsc(bool enabled, int port)
{
    CZircSettings& s = mSession.settings();
    s.mOscPort = port;
    s.mOscEnabled = enabled;
    mRemote.stop();
    mOscError.clear();
    if (enabled)
        startOsc();
    if (mPage)
        mPage->setOscState(oscState());
}

void CSpatialControl::startOsc()
{
    CZircSettings& s = mSession.settings();
    std::string message;
    if (mRemote.start(s.mOscPort, message))
        return;
    mOscError = QString::fromStdString(message);
    s.mOscEnabled = false;
    if (mPage)
        mPage->setOsc(false, s.mOscPort);
    mWarn(mOscError);
}

QString CSpatialControl::oscState() const
{
    if (!mRemote.running())
        return mOscError.isEmpty() ? QStringLiteral("OSC off") : QStringLiteral("OSC off (%1)").arg(mOscError);
    const CRemoteControl::Counts c = mRemote.counts();
    QString state = QStringLiteral("OSC port %1: %2 messages, %3 malformed").arg(mRemote.port()).arg(c.accepted).arg(c.malformed);
    if (c.dropped > 0)
        state += QStringLiteral(", %1 dropped").arg(c.dropped);
    return state;
}

// A refusal is said once; the page keeps the file in force (the session kept its filters).
void CSpatialControl::showHrtfOutcome(const QString& path, const QString& error)
{
    if (mPage)
        mPage->setHrtfFile(QString::fromStdString(mSession.values().hrtfPath()));
    if (!error.isEmpty())
        mWarn(kHrtfRefused.arg(path, error));
}
