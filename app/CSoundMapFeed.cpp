#include "app/CSoundMapFeed.h"

#include "session/CGraphSession.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"

#include <QTimerEvent>

#include <cmath>

CSoundMapFeed::CSoundMapFeed(CBeamDisplayAzimuth* azimuth, CBeamDisplayElevation* elevation, QObject* parent)
    : QObject(parent), mAzimuth(azimuth), mElevation(elevation)
{
    mTimer.start(kPeriodMs, this);
}

CSoundMapFeed::~CSoundMapFeed()
{
    detach();
}

void CSoundMapFeed::attach(CGraphSession* graph, double sampleRate)
{
    detach();
    if (!graph || !(sampleRate > 0.0))
        return;
    // One period per timer tick, so that each tick finds about one new period.
    const int period = static_cast<int>(std::lround(sampleRate * kPeriodMs / 1000.0));
    mCovariance = std::make_unique<CModeCovariance>(sampleRate, period);
    mMap = std::make_unique<CSoundMap>();
    mMap->setMethod(mMusic ? CSoundMap::kMusic : CSoundMap::kSteeredPower);
    mGraph = graph;
    mGraph->setModeTap(mCovariance.get());
}

void CSoundMapFeed::detach()
{
    if (mGraph)
        mGraph->setModeTap(nullptr);
    mGraph = nullptr;
    mCovariance.reset();
    mMap.reset();
}

void CSoundMapFeed::setMusic(bool music)
{
    mMusic = music;
    if (!mMap)
        return;
    mMap->setMethod(music ? CSoundMap::kMusic : CSoundMap::kSteeredPower);
    if (mNote.isEmpty())
        showFrame(mMap->frame(kRangeDb, kMaxPeaks));
}

void CSoundMapFeed::setNote(const QString& note)
{
    if (note == mNote)
        return;
    mNote = note;
    mAzimuth->setMapNote(note);
    mElevation->setMapNote(note);
    if (note.isEmpty())
        return;
    if (mMap)
        mMap->reset();
    showFrame(SoundMapFrame());
}

void CSoundMapFeed::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != mTimer.timerId())
        return QObject::timerEvent(event);
    if (!mCovariance)
        return;
    bool fresh = false;
    while (mCovariance->fetch(mPeriod)) {
        fresh = true;
        if (mNote.isEmpty())
            mMap->update(mPeriod);
    }
    if (fresh && mNote.isEmpty())
        showFrame(mMap->frame(kRangeDb, kMaxPeaks));
}

void CSoundMapFeed::showFrame(const SoundMapFrame& frame)
{
    mAzimuth->setMapFrame(frame);
    mElevation->setMapFrame(frame);
}
