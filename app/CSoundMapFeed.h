#pragma once
// The live sound map of the main window: a mode covariance attached to the session's
// graph as its tap on the engine's modes, a map made from the periods it publishes, and a
// 100 ms timer that hands the latest map to both beam displays. The covariance and the map
// live as long as the graph they are attached to: attach() makes new ones for a new graph
// (a rebuild drops the old tap) and detach() takes the tap off. The method the user
// chose (steered power or MUSIC) carries over to the next map.
// Main thread only.

#include "soundmap/CModeCovariance.h"
#include "soundmap/CSoundMap.h"

#include <QBasicTimer>
#include <QObject>
#include <QString>

#include <memory>

class CBeamDisplayAzimuth;
class CBeamDisplayElevation;
class CGraphSession;

class CSoundMapFeed : public QObject {
    Q_OBJECT

public:
    static constexpr int kPeriodMs = 100;
    static constexpr float kRangeDb = 30.0f;
    static constexpr int kMaxPeaks = 8;

    CSoundMapFeed(CBeamDisplayAzimuth* azimuth, CBeamDisplayElevation* elevation, QObject* parent = nullptr);
    ~CSoundMapFeed() override;

    // Taps `graph` with a new covariance of `sampleRate` and starts a new map; a previous
    // tap is taken off first. No graph or no rate: stays detached.
    void attach(CGraphSession* graph, double sampleRate);
    // Takes the tap off; returns once the audio thread has left it. The displays keep
    // the last map.
    void detach();
    bool attached() const { return mGraph != nullptr; }
    // Null while detached.
    const CSoundMap* map() const { return mMap.get(); }

public slots:
    void setMusic(bool music);
    // Why there is no map (empty: there is one). While a note is set the displays show
    // it in place of the map and the periods that still arrive are dropped.
    void setNote(const QString& note);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    void showFrame(const SoundMapFrame& frame);

    CBeamDisplayAzimuth* mAzimuth;
    CBeamDisplayElevation* mElevation;
    CGraphSession* mGraph = nullptr;
    std::unique_ptr<CModeCovariance> mCovariance;
    std::unique_ptr<CSoundMap> mMap;
    ModeCovarianceFrame mPeriod;
    QBasicTimer mTimer;
    QString mNote;
    bool mMusic = false;
};
