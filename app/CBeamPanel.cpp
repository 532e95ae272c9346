#include "app/CBeamPanel.h"

#include "app/CSoundMapFeed.h"
#include "session/CSession.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CBeamSelection.h"

#include <cmath>
#include <vector>

CBeamPanel::CBeamPanel(CSession& session, CBeamSelection* tracks, CBeamDisplayAzimuth* azimuth,
                       CBeamDisplayElevation* elevation, CSoundMapFeed* map, QObject* parent)
    : QObject(parent), mSession(session), mTracks(tracks), mAzimuth(azimuth), mElevation(elevation), mMap(map)
{
}

void CBeamPanel::connectAll()
{
    connectTracks();
    connectMap();
}

// Every track to the session, as the user left it.
void CBeamPanel::applyAll()
{
    mSession.values().setNumBeams(mTracks->numTracks());
    for (int i = 0; i < mTracks->numTracks(); ++i)
        updateBeamformer(i);
}

// A response buffer as long as the running graph's catalogue needs.
void CBeamPanel::followGraph()
{
    mPatternResponse.assign(static_cast<std::size_t>(mSession.graph()->maxPolarPoints()), 0.0f);
}

// The pattern lists of the session's catalogue, and the tracks of the settings (two new
// ones on a first run).
void CBeamPanel::init()
{
    QStringList patterns;
    QList<QStringList> parameters;
    for (int p = 0; p < mSession.graph()->patternCount(); ++p) {
        int nameSize = 0;
        int parameterNameSize = 0;
        int numParameters = 0;
        mSession.graph()->patternInfo(p, &nameSize, &parameterNameSize, &numParameters, nullptr);
        std::vector<char> name(static_cast<std::size_t>(nameSize) + 1, '\0');
        std::vector<char> parameterName(static_cast<std::size_t>(parameterNameSize) + 1, '\0');
        std::vector<int> values(static_cast<std::size_t>(numParameters), 0);
        mSession.graph()->patternNames(p, name.data(), parameterName.data(), values.data());
        patterns << QString::fromLatin1(name.data());
        QStringList texts;
        for (int v : values)
            texts << QString::number(v);
        parameters << texts;
    }
    mTracks->setPatternAndParameterLists(patterns, parameters);
    if (mSession.settings().mBeamTrackSettings.isEmpty()) {
        mTracks->addBeam();
        mTracks->addBeam();
    } else {
        mTracks->loadState(mSession.settings().mBeamTrackSettings);
    }
    for (int i = 0; i < mTracks->numTracks(); ++i)
        beamGotAdded(i);
}

// The track list and the two displays steer each other; the session follows both.
void CBeamPanel::connectTracks()
{
    CBeamSelection* b = mTracks;
    CBeamDisplayAzimuth* az = mAzimuth;
    CBeamDisplayElevation* el = mElevation;
    connect(b, &CBeamSelection::beamTrackAdded, this, &CBeamPanel::beamGotAdded);
    connect(b, &CBeamSelection::beamTrackDeleted, this, &CBeamPanel::beamGotDeleted);
    connect(b, &CBeamSelection::activeBeamTrackChanged, az, &CBeamDisplayAzimuth::setActivePattern);
    connect(b, &CBeamSelection::activeBeamTrackChanged, el, &CBeamDisplayElevation::setActivePattern);
    connect(b, &CBeamSelection::beamTrackColorChanged, az, qOverload<int, QColor>(&CBeamDisplayAzimuth::setColor));
    connect(b, &CBeamSelection::beamTrackColorChanged, el, qOverload<int, QColor>(&CBeamDisplayElevation::setColor));
    connect(b, &CBeamSelection::beamTrackPhiChanged, az, qOverload<int, int>(&CBeamDisplayAzimuth::setPhi));
    connect(b, &CBeamSelection::beamTrackPhiChanged, this, qOverload<int, int>(&CBeamPanel::updatePhi));
    connect(b, &CBeamSelection::beamTrackThetaChanged, el, qOverload<int, int>(&CBeamDisplayElevation::setTheta));
    connect(b, &CBeamSelection::beamTrackThetaChanged, this, qOverload<int, int>(&CBeamPanel::updateTheta));
    connect(b, &CBeamSelection::beamTrackPatternChanged, this, &CBeamPanel::updatePattern);
    connect(b, &CBeamSelection::beamTrackParameterChanged, this, &CBeamPanel::updateParameter);
    connect(b, &CBeamSelection::beamTrackGainChanged, this, &CBeamPanel::setOutputGain);
    connect(b, &CBeamSelection::beamTrackMuteChanged, this, &CBeamPanel::setOutputMute);
    connect(az, &CBeamDisplayAzimuth::phiChanged, b, qOverload<int>(&CBeamSelection::setPhi));
    connect(az, &CBeamDisplayAzimuth::phiChanged, this, qOverload<int>(&CBeamPanel::updatePhi));
    connect(el, &CBeamDisplayElevation::thetaChanged, b, qOverload<int>(&CBeamSelection::setTheta));
    connect(el, &CBeamDisplayElevation::thetaChanged, this, qOverload<int>(&CBeamPanel::updateTheta));
}

// The map under the displays: a peak picked on either steers the active beam, the
// elevation display cuts the map along the active beam's azimuth, and the method chosen
// on one display is ticked on the other.
void CBeamPanel::connectMap()
{
    CBeamSelection* b = mTracks;
    CBeamDisplayAzimuth* az = mAzimuth;
    CBeamDisplayElevation* el = mElevation;
    connect(az, &CBeamDisplayAzimuth::mapPeakChosen, this, &CBeamPanel::steerToMapPeak);
    connect(el, &CBeamDisplayElevation::mapPeakChosen, this, &CBeamPanel::steerToMapPeak);
    connect(az, &CBeamDisplayAzimuth::mapMusicChanged, mMap, &CSoundMapFeed::setMusic);
    connect(el, &CBeamDisplayElevation::mapMusicChanged, mMap, &CSoundMapFeed::setMusic);
    connect(az, &CBeamDisplayAzimuth::mapMusicChanged, el, &CBeamDisplayElevation::setMapMusic);
    connect(el, &CBeamDisplayElevation::mapMusicChanged, az, &CBeamDisplayAzimuth::setMapMusic);
    connect(b, &CBeamSelection::activeBeamTrackChanged, this, &CBeamPanel::updateMapPlane);
    connect(b, &CBeamSelection::beamTrackPhiChanged, this, &CBeamPanel::updateMapPlane);
    connect(az, &CBeamDisplayAzimuth::phiChanged, this, &CBeamPanel::updateMapPlane);
    updateMapPlane();
}

int CBeamPanel::loadResponse(int pattern, int parameter)
{
    int points = 0;
    if (mSession.graph()->patternInfo(pattern, nullptr, nullptr, nullptr, &points) != 0 ||
        points > static_cast<int>(mPatternResponse.size()) ||
        mSession.graph()->patternResponse(pattern, parameter, mPatternResponse.data(), nullptr) != 0)
        return 0;
    return points;
}

void CBeamPanel::updatePhi(int index, int phi)
{
    mSession.values().setPhi(index, static_cast<float>(phi));
}

void CBeamPanel::updatePhi(int phi)
{
    updatePhi(mTracks->activeTrack(), phi);
}

void CBeamPanel::updateTheta(int index, int theta)
{
    mSession.values().setTheta(index, static_cast<float>(theta));
}

void CBeamPanel::updateTheta(int theta)
{
    updateTheta(mTracks->activeTrack(), theta);
}

// A peak picked on the map puts the active beam on it, as steering it on both displays
// would: the displays, the track list and the graph follow.
void CBeamPanel::steerToMapPeak(int theta, int phi)
{
    const int active = mTracks->activeTrack();
    const int azimuth = (phi % 360 + 360) % 360;
    mAzimuth->setPhi(active, azimuth);
    mTracks->setPhi(azimuth);
    updatePhi(azimuth);
    mElevation->setTheta(active, theta);
    mTracks->setTheta(theta);
    updateTheta(theta);
    updateMapPlane();
}

void CBeamPanel::updateMapPlane()
{
    const int active = mTracks->activeTrack();
    if (active >= 0 && active < mTracks->numTracks())
        mElevation->setMapPlane(mTracks->phi(active));
}

// All of one track to the graph, in the order the beamformer takes it up.
void CBeamPanel::updateBeamformer(int index)
{
    if (!mSession.ready())
        return;
    CGraphSession::Beam beam;
    beam.pattern = mTracks->patternIndex(index);
    beam.parameter = mTracks->parameterIndex(index);
    beam.theta = static_cast<float>(mTracks->theta(index));
    beam.phi = static_cast<float>(mTracks->phi(index));
    beam.gain = mTracks->gain(index);
    beam.mute = mTracks->mute(index);
    mSession.values().setBeam(index, beam);
}

void CBeamPanel::beamGotAdded(int index)
{
    if (!mSession.ready())
        return;
    const QColor color = mTracks->color(index);
    const int points = loadResponse(mTracks->patternIndex(index), mTracks->parameterIndex(index));
    mAzimuth->addPlot(mPatternResponse.data(), points, color);
    mAzimuth->setPhi(index, mTracks->phi(index));
    mElevation->addTrack(color);
    mElevation->setTheta(index, mTracks->theta(index));
    mSession.values().setNumBeams(mTracks->numTracks());
    updateBeamformer(index);
}

// Deleting moves the tracks behind one place up: each of them is sent again.
void CBeamPanel::beamGotDeleted(int index)
{
    mAzimuth->removeActivePlot();
    mAzimuth->setActivePattern(mTracks->activeTrack());
    mElevation->removeActiveTrack();
    mElevation->setActivePattern(mTracks->activeTrack());
    if (!mSession.ready())
        return;
    mSession.values().setNumBeams(mTracks->numTracks());
    for (int i = index; i < mTracks->numTracks(); ++i)
        updateBeamformer(i);
}

void CBeamPanel::updatePattern(int beamIndex, int patternIndex, int parameterIndex)
{
    if (!mSession.ready())
        return;
    const int points = loadResponse(patternIndex, parameterIndex);
    mAzimuth->setPattern(beamIndex, mPatternResponse.data(), points);
    mSession.values().setPattern(beamIndex, patternIndex, parameterIndex);
}

void CBeamPanel::updateParameter(int beamIndex, int parameterIndex)
{
    updatePattern(beamIndex, mTracks->patternIndex(beamIndex), parameterIndex);
}

void CBeamPanel::setOutputGain(int channel, float gain) { mSession.values().setBeamGain(channel, gain); }
void CBeamPanel::setOutputMute(int channel, bool mute) { mSession.values().setBeamMute(channel, mute); }

void CBeamPanel::showBeam(int index)
{
    if (!mSession.ready() || index < 0 || index >= mTracks->numTracks())
        return;
    const CGraphSession::Beam& beam = mSession.values().beam(index);
    const int theta = static_cast<int>(std::lround(beam.theta));
    const int phi = (static_cast<int>(std::lround(beam.phi)) % 360 + 360) % 360;
    if (theta != mTracks->theta(index)) {
        mTracks->setTheta(index, theta);
        mElevation->setTheta(index, theta);
    }
    if (phi != mTracks->phi(index)) {
        mTracks->setPhi(index, phi);
        mAzimuth->setPhi(index, phi);
    }
    if (beam.pattern != mTracks->patternIndex(index) || beam.parameter != mTracks->parameterIndex(index)) {
        mTracks->setPatternIndex(index, beam.pattern);
        mTracks->setParameterIndex(index, beam.parameter);
        const int points = loadResponse(beam.pattern, beam.parameter);
        mAzimuth->setPattern(index, mPatternResponse.data(), points);
    }
    updateMapPlane();
}
