#pragma once
// The beams as the main window shows them: the track list and the two beam displays steer
// each other and the session's beams; a peak picked on the sound map steers the active
// beam, and the elevation display cuts the map along the active beam's azimuth. Each
// track's polar curve comes from the session's pattern catalogue. Main thread only.

#include <QObject>

#include <vector>

class CBeamDisplayAzimuth;
class CBeamDisplayElevation;
class CBeamSelection;
class CSession;
class CSoundMapFeed;

class CBeamPanel : public QObject {
    Q_OBJECT

public:
    CBeamPanel(CSession& session, CBeamSelection* tracks, CBeamDisplayAzimuth* azimuth,
               CBeamDisplayElevation* elevation, CSoundMapFeed* map, QObject* parent = nullptr);

    // The pattern lists and the tracks of the settings; once, with a graph that runs.
    void init();
    void connectAll();
    // Every track to the session, as the user left it.
    void applyAll();
    // Follows the catalogue of the graph that runs now.
    void followGraph();
    // Shows a beam that the session's values changed from elsewhere (a remote control):
    // its track and the displays take its direction and pattern; with the tracks' azimuth
    // link on, the other tracks turn with it as they do when the user turns one.
    void showBeam(int index);

public slots:
    void updatePhi(int index, int phi);
    void updatePhi(int phi);
    void updateTheta(int index, int theta);
    void updateTheta(int theta);
    void steerToMapPeak(int theta, int phi);
    void updateMapPlane();
    void updateBeamformer(int index);
    void beamGotAdded(int index);
    void beamGotDeleted(int index);
    void updatePattern(int beamIndex, int patternIndex, int parameterIndex);
    void updateParameter(int beamIndex, int parameterIndex);
    void setOutputGain(int channel, float gain);
    void setOutputMute(int channel, bool mute);

private:
    void connectTracks();
    void connectMap();
    // The polar response of a pattern and parameter into mPatternResponse; its length.
    int loadResponse(int pattern, int parameter);

    CSession& mSession;
    CBeamSelection* mTracks;
    CBeamDisplayAzimuth* mAzimuth;
    CBeamDisplayElevation* mElevation;
    CSoundMapFeed* mMap;
    std::vector<float> mPatternResponse;
};
