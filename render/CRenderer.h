#pragma once
// The offline render: one audio graph, fed as its live input from a recording that
// libsndfile reads or from the modelled scene, run block after block as fast as the
// machine allows. Reading (or the scene), the graph and writing run on three threads
// (CRenderPipeline), so that on two cores the graph alone sets the pace; the graph runs
// on the thread that calls run(). The beams (what the graph hands to the driver's
// outputs) go into a wave file; a rendered scene's calibrated array signal can go
// through the graph's own array recorder, whose disk side the writer serves. The
// graph's Ambisonics encoder and binaural decoder give the AmbiX and binaural outputs,
// read from the graph after each block. Outputs appear under their names only after a
// complete run.
//
// The scene's capsules carry the seeded sensitivity errors of the hardware model, and
// the graph's input volume applies the calibration gains that undo them, as the
// application does with the box's calibration block.

#include "render/CInputFile.h"
#include "render/CPatternCatalogue.h"
#include "render/CPendingFile.h"
#include "render/CRenderBlocks.h"
#include "render/CRenderOptions.h"
#include "render/CRenderPipeline.h"
#include "render/CRenderSink.h"
#include "session/CGraphSession.h"
#include "soundmap/CSoundMap.h"

#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class CHardwareModel;
class CSoundScene;

class CRenderer {
public:
    CRenderer();
    ~CRenderer();
    CRenderer(const CRenderer&) = delete;
    CRenderer& operator=(const CRenderer&) = delete;

    // Opens the input, resolves the beams, builds the graph and creates the outputs
    // under temporary names. False with a one-line `error`.
    bool prepare(const CRenderOptions& options, QString& error);
    // After a failed prepare(): true when the command line asked for what cannot be done
    // (a pattern or value that does not exist, beams for a file without the capsule
    // channels, no beams), false when a file could not be read or written.
    bool refusedCommandLine() const { return mRefusedCommandLine; }
    // Renders every block; `progress` gets the seconds done, on the calling thread.
    // `cancel` is polled between blocks. On success the outputs take their names; on
    // failure they are removed.
    bool run(const std::function<void(double)>& progress, const std::atomic<bool>& cancel, QString& error);

    double durationSeconds() const { return double(mTotalFrames) / mSampleRate; }
    int sampleRate() const { return mSampleRate; }
    int outputChannels() const { return mOutputChannels; }
    // Samples that the 24-bit outputs had to saturate.
    qint64 clippedSamples() const;
    // False when the input is played straight through instead.
    bool beamformed() const { return mBeamformed; }
    // The whole run's sound map, after run(); null when none was asked for or possible.
    const CSoundMap* soundMap() const { return mMap.get(); }
    const std::vector<SoundMapPeak>& mapPeaks() const { return mPeaks; }
    // Why an asked-for map was not made; empty otherwise.
    const QString& mapNote() const { return mMapNote; }
    // What the user should know of the input before the render (an unfinished file).
    const QString& inputWarning() const { return mInputWarning; }

private:
    bool refuse(QString& error, const QString& message);
    bool resolveBeams(const CRenderOptions& options, QString& error);
    bool openInputFile(const CRenderOptions& options, QString& error);
    void noteUnfinishedInput();
    void buildScene(const CRenderOptions& options);
    bool buildGraph(const CRenderOptions& options, QString& error);
    int configureGraph();
    void calibrate();
    void steerBeams();
    bool setUpAmbisonics(const CRenderOptions& options, QString& error);
    bool openOutputs(const CRenderOptions& options, QString& error);
    bool openSink(CRenderSink& sink, std::unique_ptr<CPendingFile>& file, const QString& name, int channels,
                  int format, QString& error);
    void buildPipeline();
    bool readBlock(CPlanarBlock& in, qint64 done, QString& error);
    bool processBlock(CPlanarBlock& in, CRenderedBlock& out, qint64 done, QString& error);
    bool writeBlock(const CRenderedBlock& out, QString& error);
    bool writeSink(CRenderSink& sink, const CPendingFile* file, const CPlanarBlock& block, int frames,
                   QString& error);
    bool arrayWritten(QString& error) const;
    bool finish(QString& error);
    void attachMap(const CRenderOptions& options);
    bool writeMap(QString& error);

    CPatternCatalogue mCatalogue;
    std::vector<CBeamSetting> mBeams;
    // Destroyed in reverse: the graph's recorder and the sink close their files before
    // an uncommitted temporary file is removed.
    std::unique_ptr<CPendingFile> mBeamFile;
    std::unique_ptr<CPendingFile> mArrayFile;
    std::unique_ptr<CPendingFile> mMapFile;
    std::unique_ptr<CPendingFile> mAmbixFile;
    std::unique_ptr<CPendingFile> mEarFile;
    // Before the graph, which is destroyed first and holds the covariance as its tap.
    std::unique_ptr<CModeCovariance> mCovariance;
    std::unique_ptr<CSoundMap> mMap;
    std::vector<SoundMapPeak> mPeaks;
    QString mMapNote;
    QString mInputWarning;
    CInputFile mInput;
    CRenderSink mSink;
    CRenderSink mAmbixSink;
    CRenderSink mEarSink;
    std::unique_ptr<CHardwareModel> mHardware;
    std::unique_ptr<CSoundScene> mScene;
    CGraphSession mGraph;

    using Pipeline = CRenderPipeline<CPlanarBlock, CRenderedBlock>;
    std::unique_ptr<Pipeline> mPipeline;

    QString mInputName;
    int mSampleRate = 44100;
    int mBlock = 512;
    int mOutputChannels = 0;
    int mAmbixChannels = 0;
    bool mBeamformed = true;
    bool mRefusedCommandLine = false;
    qint64 mTotalFrames = 0;
};
